#pragma once

#include <QByteArray>
#include <QByteArrayView>

struct evp_pkey_st;

/// The steps of an RSA signature, in their order; each key service has its own words for the one that failed.
enum class RsaStep { context, start, padding, hash, size, digest, sign, verify, done };

/// RSASSA-PKCS1-v1_5 (RFC 8017) over a SHA-256 digest. `keyBits` is the one size that the key may have, 0 for any.
/// Gives the step that failed, else `done`; the signature stays as it was on failure. Nothing is reported.
[[nodiscard]] RsaStep signRsa(evp_pkey_st* pkey, QByteArrayView digest, int keyBits, QByteArray& signature);

/// `done` if the signature holds, else the step that failed.
[[nodiscard]] RsaStep verifyRsa(evp_pkey_st* pkey, QByteArrayView digest, QByteArrayView signature);
