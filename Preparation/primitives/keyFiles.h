#pragma once

#include <QByteArray>
#include <QString>

/// The reason why a key file can't be read.
struct KeyFileFault {
    bool opened = false;
    QString reason;
};

/// Reads a key file, at most its first 1 MiB. The file is read without a buffer, so that no second copy remains after
/// the caller wipes `content`. False if the file can't be opened or read.
[[nodiscard]] bool readKeyFile(const QString& path, QByteArray& content, KeyFileFault* fault = nullptr);
