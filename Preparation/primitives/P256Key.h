#pragma once

#include "Preparation/primitives/opensslObjects.h"

#include <QByteArray>
#include <QString>

/// A checked key on the curve P-256 (FIPS 186-4, D.1.2.3; OpenSSL's "prime256v1"), or null.
using P256Key = KeyPointer;

/// The private key in the PEM text `pem`, in SEC 1 or PKCS #8 form. A passphrase is never asked for. `name` is what
/// messages call the key. Null, with a message, for anything but a valid P-256 key.
[[nodiscard]] P256Key parseP256PrivateKey(QByteArrayView pem, const QString& name);
/// The public key in the PEM text `pem` (SubjectPublicKeyInfo), likewise.
[[nodiscard]] P256Key parseP256PublicKey(QByteArrayView pem, const QString& name);

/// The same from a file.
[[nodiscard]] P256Key readP256PrivateKey(const QString& path);
[[nodiscard]] P256Key readP256PublicKey(const QString& path);

/// The public point of a key: X, then Y, 32 bytes each, big-endian. Empty, with a message, on failure.
[[nodiscard]] QByteArray p256PublicPoint(const P256Key& key);
