#pragma once

#include "Preparation/primitives/opensslObjects.h"

#include <QByteArray>

/// The algorithm of a key. `bits` is the size of an RSA modulus, and 256 for P-256.
struct KeyTraits {
    enum class Kind { p256, rsa, other };
    Kind kind = Kind::other;
    int bits = 0;
};

/// The traits of a private or public key; `other` also for null.
[[nodiscard]] KeyTraits traitsOf(const evp_pkey_st* pkey);

/// Whether the key is valid (SP 800-56A, 5.6.2; FIPS 186-4). The private part, if there is one, must match.
[[nodiscard]] bool isValidPrivateKey(evp_pkey_st* pkey);
[[nodiscard]] bool isValidPublicKey(evp_pkey_st* pkey);

/// The public key on the curve P-256 with this point (SEC 1, 2.3.3). Null if the bytes are no point of the curve.
[[nodiscard]] KeyPointer p256FromPoint(QByteArrayView point);
/// The public RSA key of these two big-endian numbers. Null if they can't be one.
[[nodiscard]] KeyPointer rsaFromNumbers(QByteArrayView modulus, QByteArrayView exponent);

/// Whether both keys have the same public part.
[[nodiscard]] bool isSamePublicKey(const evp_pkey_st* one, const evp_pkey_st* other);
