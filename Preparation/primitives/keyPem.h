#pragma once

#include "Preparation/primitives/opensslObjects.h"

#include <QByteArray>

#include <cstdint>

/// The ciphers for encrypted private keys. Callers select them by these numbers.
enum class KeyCipher : std::int32_t { aes128Cbc = 0, aes256Cbc = 1 };

/// The private key of a PEM text (RFC 7468, or one of the traditional forms); null if there is none. Never prompts for
/// a passphrase: an encrypted key without the right passphrase gives null. Sets `passphraseWanted` to true if the key
/// needs a passphrase and none was given. The caller initializes it with false.
[[nodiscard]] KeyPointer privateKeyFromPem(QByteArrayView pem, QByteArrayView passphrase = {},
                                           bool* passphraseWanted = nullptr);

/// The public key of a PEM text (SubjectPublicKeyInfo, RFC 5280); null if there is none.
[[nodiscard]] KeyPointer publicKeyFromPem(QByteArrayView pem, bool* passphraseWanted = nullptr);

/// Writes the PEM of the private key in PKCS #8 (RFC 5958). False, with `pem` unchanged, if `pkey` is null or contains
/// no private key. The caller wipes `pem`.
[[nodiscard]] bool privateKeyToPem(const evp_pkey_st* pkey, QByteArray& pem);
/// Writes the private key in PKCS #8, encrypted (PBES2, RFC 8018). False also for a passphrase of more than 1,024
/// bytes.
[[nodiscard]] bool privateKeyToEncryptedPem(const evp_pkey_st* pkey, KeyCipher cipher, QByteArrayView passphrase,
                                            QByteArray& pem);
/// Writes an RSA private key in its traditional form (RSAPrivateKey, RFC 8017), under the rules of privateKeyToPem.
[[nodiscard]] bool privateKeyToTraditionalPem(const evp_pkey_st* pkey, QByteArray& pem);
/// Writes the PEM of the public key. False, with `pem` unchanged, if `pkey` is null or contains no public key.
[[nodiscard]] bool publicKeyToPem(const evp_pkey_st* pkey, QByteArray& pem);

/// Writes the DER of the private key in PKCS #8, under the rules of privateKeyToPem.
[[nodiscard]] bool privateKeyToDer(const evp_pkey_st* pkey, QByteArray& der);

enum class DerResult { done, noPublicKey, failed };
/// Writes the DER of the public key (SubjectPublicKeyInfo).
[[nodiscard]] DerResult subjectPublicKeyInfo(const evp_pkey_st* pkey, QByteArray& der);
