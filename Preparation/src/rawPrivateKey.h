#pragma once

#include <QByteArray>

/// Removes the public key from the PKCS #8 DER of a private key on Prime256v1, at fixed offsets. The result is 68 bytes
/// shorter. False, with a message that names the offset, for any other DER; `der` is then unusable.
[[nodiscard]] bool removePublicKey(QByteArray& der);
