#pragma once

#include "files/outputFile.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

/// Who may do what with a key file once it is written.
enum class KeyFileAccess {
    ownerReads,           ///< 0400
    ownerReadsAndWrites,  ///< 0600
    everybodyReads,       ///< 0444
};

/// Reads a key file of at most 1 MiB; what is longer is cut there. `content` is taken unbuffered, so that wiping it
/// leaves no second copy. False if the file can't be opened or read.
[[nodiscard]] bool readKeyFile(const QString& path, QByteArray& content);

/// Puts `bytes` in the place of whatever stands at `path`, also of a read-only file, or leaves that as it was. The file
/// is nobody else's to read from its first moment on; it gets `access` when it is complete.
[[nodiscard]] ReplaceResult replaceKeyFile(const QString& path, QByteArrayView bytes, KeyFileAccess access);
