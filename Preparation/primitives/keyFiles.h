#pragma once

#include <QByteArray>
#include <QString>

/// Why a key file couldn't be read.
struct KeyFileFault {
    bool opened = false;
    QString reason;
};

/// Reads a key file of at most 1 MiB; what is longer is cut there. `content` is taken unbuffered, so that wiping it
/// leaves no second copy. False if the file can't be opened or read.
[[nodiscard]] bool readKeyFile(const QString& path, QByteArray& content, KeyFileFault* fault = nullptr);
