#pragma once

#include "Preparation/primitives/opensslObjects.h"

#include <QByteArray>

#include <cstdint>

/// The ciphers for encrypted private keys. Callers select them by these numbers.
enum class KeyCipher : std::int32_t { aes128Cbc = 0, aes256Cbc = 1 };

/// The private key of a PEM text (RFC 7468, or one of the traditional forms); null if there is none. Never prompts for
/// a passphrase: an encrypted key without the right passphrase gives null. `passphraseWanted` then receives whether the
/// key needs a passphrase and none was given.
[[nodiscard]] KeyPointer privateKeyFromPem(QByteArrayView pem, QByteArrayView passphrase = {},
                                           bool* passphraseWanted = nullptr);

/// The public key of a PEM text (SubjectPublicKeyInfo, RFC 5280); null if there is none.
[[nodiscard]] KeyPointer publicKeyFromPem(QByteArrayView pem, bool* passphraseWanted = nullptr);

/// Write the PEM of a key: the private key in PKCS #8 (RFC 5958), the same encrypted (PBES2, RFC 8018) under a
/// passphrase of at most 1,024 bytes, an RSA private key in its traditional form (RSAPrivateKey, RFC 8017), and the
/// public key. False, with `pem` unchanged, if `pkey` is null or lacks that part. The caller wipes secrets.
[[nodiscard]] bool privateKeyToPem(const evp_pkey_st* pkey, QByteArray& pem);
[[nodiscard]] bool privateKeyToEncryptedPem(const evp_pkey_st* pkey, KeyCipher cipher, QByteArrayView passphrase,
                                            QByteArray& pem);
[[nodiscard]] bool privateKeyToTraditionalPem(const evp_pkey_st* pkey, QByteArray& pem);
[[nodiscard]] bool publicKeyToPem(const evp_pkey_st* pkey, QByteArray& pem);

/// Writes the DER of the private key in PKCS #8, under the same rules.
[[nodiscard]] bool privateKeyToDer(const evp_pkey_st* pkey, QByteArray& der);

/// Writes the DER of the public key (SubjectPublicKeyInfo).
enum class DerResult { done, noPublicKey, failed };
[[nodiscard]] DerResult subjectPublicKeyInfo(const evp_pkey_st* pkey, QByteArray& der);
