#pragma once

#include <QByteArrayView>
#include <QString>

#include <limits>

/// Writes a backup or secrets image to `path`. An existing file is replaced without a warning. A new file is readable
/// by its owner only. False, with a message, on failure; an older file is then unchanged.
[[nodiscard]] bool writeImage(const QString& path, QByteArrayView image);

/// Reads a backup or secrets image, at most its first `most` bytes. False, with a message, if that fails or if there
/// isn't enough memory for both the image and its segments.
[[nodiscard]] bool readImage(const QString& path, QByteArray& image, qint64 most = std::numeric_limits<qint64>::max());
