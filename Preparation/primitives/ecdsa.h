#pragma once

#include <QByteArray>
#include <QByteArrayView>

struct evp_pkey_st;

/// ECDSA (FIPS 186-4) on digests, with elliptic-curve keys. The signature is in DER form (ECDSA-Sig-Value, RFC 3279).
/// Nothing is reported.
[[nodiscard]] bool signEcdsa(evp_pkey_st* pkey, QByteArrayView digest, QByteArray& derSignature);

enum class EcdsaCheck { holds, doesNotHold, failed };
[[nodiscard]] EcdsaCheck verifyEcdsa(evp_pkey_st* pkey, QByteArrayView digest, QByteArrayView derSignature);

/// Convert a signature on a 256-bit curve between its DER form and 64 raw bytes: r, then s, both big-endian. False if a
/// number is longer than 32 bytes or the input isn't a signature.
[[nodiscard]] bool toRawSignature(QByteArrayView derSignature, QByteArray& raw);
[[nodiscard]] bool toDerSignature(QByteArrayView raw, QByteArray& derSignature);
