#pragma once

#include <QByteArray>
#include <QByteArrayView>

/// Computes the 32-byte secret that a Prime256v1 scalar (big-endian) shares with a peer's uncompressed point of 65
/// bytes: ECDH (NIST SP 800-56A), then the key derivation of ANSI X9.63 with SHA-256 and without shared information.
/// Returns the secret's size, or 0 on failure.
[[nodiscard]] qsizetype computeEcdhSecret(QByteArray& secret, QByteArrayView privateBytes, QByteArrayView peerPoint);

/// Generates two keys and computes their shared secret from both sides. Returns 1 if the secrets are equal, otherwise
/// 0. Reports the result in both cases.
[[nodiscard]] int ecdhSelfTest();
