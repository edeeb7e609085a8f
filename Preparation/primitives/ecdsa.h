#pragma once

#include <QByteArray>
#include <QByteArrayView>

struct evp_pkey_st;

/// ECDSA (FIPS 186-4) on digests, with elliptic-curve keys. The signature comes in its DER form (ECDSA-Sig-Value, RFC
/// 3279). Nothing is reported.
[[nodiscard]] bool signEcdsa(evp_pkey_st* pkey, QByteArrayView digest, QByteArray& derSignature);

enum class EcdsaCheck { holds, doesNotHold, failed };
[[nodiscard]] EcdsaCheck verifyEcdsa(evp_pkey_st* pkey, QByteArrayView digest, QByteArrayView derSignature);

/// A signature on a 256-bit curve as 64 bytes, r then s, big-endian each, from its DER form and back. False if a number
/// is longer than 32 bytes, or for what is no signature.
[[nodiscard]] bool toRawSignature(QByteArrayView derSignature, QByteArray& raw);
[[nodiscard]] bool toDerSignature(QByteArrayView raw, QByteArray& derSignature);
