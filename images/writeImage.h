#pragma once

#include <QByteArrayView>
#include <QString>

/// Puts a backup or secrets image in the place of whatever stands at `path`, without a warning. False with a message
/// if that fails; an older file is then left as it was.
[[nodiscard]] bool writeImage(const QString& path, QByteArrayView image);
