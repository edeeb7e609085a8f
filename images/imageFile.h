#pragma once

#include <QByteArrayView>
#include <QString>

#include <limits>

/// Puts a backup or secrets image in the place of whatever stands at `path`, without a warning; a new file is for its
/// owner alone. False with a message
/// if that fails; an older file is then left as it was.
[[nodiscard]] bool writeImage(const QString& path, QByteArrayView image);

/// Reads a backup or secrets image, at most its first `most` bytes. False with a message if that fails, or if there
/// isn't memory enough for the image and for its bytes in segments.
[[nodiscard]] bool readImage(const QString& path, QByteArray& image, qint64 most = std::numeric_limits<qint64>::max());
