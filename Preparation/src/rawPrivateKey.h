#pragma once

#include <QByteArray>

/// Cuts the public key out of the PKCS #8 DER of a private key on Prime256v1, by fixed offsets. What stays is 68 bytes
/// shorter. False, with a message that names the offset, for any other DER, which is of no use then.
[[nodiscard]] bool removePublicKey(QByteArray& der);
