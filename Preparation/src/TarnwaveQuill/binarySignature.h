#pragma once

#include <QByteArrayView>

struct evp_pkey_st;

/// Writes the RSASSA-PKCS1-v1_5 signature of a SHA-256 digest (RFC 8017) to the 256 bytes at `signature` and verifies
/// it there. False if that fails or the key isn't a 2048-bit RSA key. The reason is reported, unless the new signature
/// doesn't verify.
[[nodiscard]] bool signBinaryDigest(evp_pkey_st* pkey, QByteArrayView digest, char* signature);
