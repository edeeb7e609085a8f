#pragma once

#include <QByteArray>
#include <QByteArrayView>

/// The secret that a Prime256v1 scalar (big-endian) shares with a peer's uncompressed point of 65 bytes: ECDH (NIST SP
/// 800-56A) and the key derivation of ANSI X9.63 with SHA-256 and no shared information, 32 bytes. Gives the secret's
/// size, 0 if there is none.
[[nodiscard]] qsizetype computeEcdhSecret(QByteArray& secret, QByteArrayView privateBytes, QByteArrayView peerPoint);

/// Lets two new keys agree on a secret from both sides. 1 if they do, else 0, with a message either way.
[[nodiscard]] int ecdhSelfTest();
