#pragma once

#include <QByteArrayView>

struct evp_pkey_st;

inline constexpr qsizetype binarySignatureSize = 256;

/// Puts the RSASSA-PKCS1-v1_5 signature of a SHA-256 digest (RFC 8017) into the `binarySignatureSize` bytes at
/// `signature` and verifies it there. False, with a message unless it is the signature that doesn't hold; for any key
/// but one of RSA with 2048 bits as well.
[[nodiscard]] bool signBinaryDigest(evp_pkey_st* pkey, QByteArrayView digest, char* signature);
