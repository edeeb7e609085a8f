#pragma once

#include <QByteArray>
#include <QByteArrayView>

struct evp_pkey_st;

/// The steps of an RSA signature, in their order. Each key service has its own messages for failed steps.
enum class RsaStep { context, start, padding, hash, size, digest, sign, verify, done };

/// Makes an RSASSA-PKCS1-v1_5 signature (RFC 8017) over a SHA-256 digest. `keyBits` is the required size of the key, or
/// 0 for any size. Returns `done`, or the step that failed; the signature is then unchanged. Nothing is reported.
[[nodiscard]] RsaStep signRsa(evp_pkey_st* pkey, QByteArrayView digest, int keyBits, QByteArray& signature);

/// Returns `done` if the signature is valid, otherwise the step that failed.
[[nodiscard]] RsaStep verifyRsa(evp_pkey_st* pkey, QByteArrayView digest, QByteArrayView signature);
