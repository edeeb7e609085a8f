#pragma once

#include <QByteArray>
#include <QByteArrayView>

/// An ECDSA signature on a 256-bit curve as 64 bytes, r then s, big-endian each, from its DER form (ECDSA-Sig-Value,
/// RFC 3279) and back. False if a number is longer than 32 bytes, or for what is no signature.
[[nodiscard]] bool toRawSignature(QByteArrayView derSignature, QByteArray& raw);
[[nodiscard]] bool toDerSignature(QByteArrayView raw, QByteArray& derSignature);
