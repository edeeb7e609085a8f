#pragma once

#include <QByteArrayView>
#include <QString>

namespace produce {

/// Whether a key of 16 or 32 bytes is public or made up: an example key of this project, equal bytes, or bytes that
/// count up or down.
[[nodiscard]] bool isDevelopmentKey(QByteArrayView key);

/// Checks a file that a step reads. Returns a sentence, or nothing if the file is good. A secret file must be readable
/// by its owner only. With `isSymmetricKey`, a development key is refused. A pipe is good, since it can be read only
/// once.
[[nodiscard]] QString inputFault(const QString& path, bool isSecret, bool isSymmetricKey);

}  // namespace produce
