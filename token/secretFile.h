#pragma once

#include <QByteArray>
#include <QString>

namespace token {

/// Reads a file with a secret, at most `limit` bytes of it. The path may be /proc/self/fd/N. False, with a message, if
/// the file can't be read, is longer, or can be read or written by others than its owner. `what` names it in messages.
/// The caller wipes the content.
[[nodiscard]] bool readSecretFile(const QString& path, const char* what, qint64 limit, QByteArray& content);

}  // namespace token
