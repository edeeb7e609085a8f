#pragma once

#include "obkey/Imgtool.h"

/// Makes a key pair of the type that imgtool knows as `keyType`: the private key at `keyPath`, the public key beside it
/// with "_pub.pem" in place of the last four characters. An older private key is moved aside first. What came of it is
/// told.
void generateKeyPair(const QString& keyPath, const QString& keyType, Imgtool& imgtool);
