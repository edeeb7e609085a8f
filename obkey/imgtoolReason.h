#pragma once

#include <QByteArray>

namespace obkey {

/// The lines of imgtool's output that say why it didn't print a private key. They are the lines that begin with "Error"
/// or "Exception: ", and the last line if it is a Python exception or a plain sentence. All other lines, and lines that
/// may contain bytes, are omitted: they may contain the key in an unexpected form, and the key must not reach console
/// and log.
[[nodiscard]] QByteArray imgtoolReason(const QByteArray& output);

}  // namespace obkey
