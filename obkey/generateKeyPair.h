#pragma once

#include "obkey/Imgtool.h"

namespace obkey {

/// Makes a key pair. `keyType` is imgtool's name of the key type. The private key is written to `keyPath`, the public
/// key to the same path with "_pub.pem" instead of the last four characters. An older private key is renamed first.
/// Success and failure are both reported.
void generateKeyPair(const QString& keyPath, const QString& keyType, Imgtool& imgtool);

}  // namespace obkey
