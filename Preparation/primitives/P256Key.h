#pragma once

#include "Preparation/primitives/opensslObjects.h"

#include <QByteArray>
#include <QString>

/// A valid key on the curve P-256 (FIPS 186-4, D.1.2.3; OpenSSL's "prime256v1"), or null.
using P256Key = KeyPointer;

/// Makes a new private key. Null, without a message, on failure.
[[nodiscard]] P256Key makeP256Key();

/// The private key in the PEM text `pem`, in SEC 1 or PKCS #8 form. Never prompts for a passphrase. `name` is the key's
/// name in messages. Null, with a message, if the text isn't a valid P-256 key.
[[nodiscard]] P256Key parseP256PrivateKey(QByteArrayView pem, const QString& name);
/// The public key in the PEM text `pem` (SubjectPublicKeyInfo), under the same rules.
[[nodiscard]] P256Key parseP256PublicKey(QByteArrayView pem, const QString& name);

/// Read a key from a file, under the same rules.
[[nodiscard]] P256Key readP256PrivateKey(const QString& path);
[[nodiscard]] P256Key readP256PublicKey(const QString& path);

/// The public point of a key: X, then Y, 32 bytes each, big-endian. Empty, with a message, on failure.
[[nodiscard]] QByteArray p256PublicPoint(const P256Key& key);
