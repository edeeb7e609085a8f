#pragma once

#include <QByteArrayView>
#include <QString>

/// Puts a backup or secrets image in the place of whatever stands at `path`, without a warning. False with a message
/// if that fails; an older file is then left as it was.
[[nodiscard]] bool writeImage(const QString& path, QByteArrayView image);

/// Reads a backup or secrets image. False with a message if that fails, or if there isn't memory enough for the image
/// and for its bytes in segments. A pipe or device isn't read: it doesn't give back what was written to it.
[[nodiscard]] bool readImage(const QString& path, QByteArray& image);
