#pragma once

#include "inspect/Description.h"

namespace inspect {

/// How an entry of an encrypted MCUboot image wraps the key of the image: RSAES-OAEP with SHA-256 (RFC 8017), or ECIES
/// with P-256 or X25519 (RFC 7748), whose MAC is HMAC-SHA-256 or HMAC-SHA-512.
enum class KeyWrap { rsa, p256, x25519, x25519Sha512 };

enum class Unwrapped { good, bad, wrongKind, notOffered };

/// Unwraps the image key of `keySize` bytes (16 or 32) with a private key in PEM form. `wrongKind`: the private key is
/// of another kind than the entry. The caller wipes `key`.
[[nodiscard]] Unwrapped unwrapKey(KeyWrap wrap, QByteArrayView wrapped, qsizetype keySize, QByteArrayView privatePem,
                                  QByteArray& key);

/// Decrypts with AES in CTR mode (NIST SP 800-38A), whose counter starts at 0. `key` has 16 or 32 bytes. The result has
/// the size of `code`; empty if OpenSSL doesn't offer the cipher. The caller wipes it.
[[nodiscard]] QByteArray decryptCode(QByteArrayView key, QByteArrayView code);

}  // namespace inspect
