#pragma once

#include "Preparation/primitives/keyPem.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <cstdint>

/// Key services for RSA, and the common part of those for elliptic curves.
///
/// Every operation returns 1 on success. On failure, it returns -1 or 0 and reports the reason through the display; the
/// results are then unchanged. keyServiceResult.h has names for these numbers. A null key is a failure like any other.
class Crypto {
  public:
    Crypto();
    virtual ~Crypto();
    Crypto(const Crypto&) = delete;
    Crypto& operator=(const Crypto&) = delete;

    /// Writes the public key in the form that is hashed. RSA has no such form, so this function returns 0, with a
    /// message.
    [[nodiscard]] virtual int publicKeyToDer(const evp_pkey_st* pkey, QByteArray& der) const;
    /// Generates a 4096-bit RSA key with the exponent 65537 and checks it.
    [[nodiscard]] virtual int generateKeyPair(KeyPointer& pkey) const;
    /// Signs a SHA-256 digest by RSASSA-PKCS1-v1_5 (RFC 8017) and verifies the signature. Returns 1 if it is valid, 0
    /// if it isn't, and -1 if a step fails. With `verbose`, successful steps are reported, too.
    [[nodiscard]] virtual int signDigest(QByteArrayView digest, QByteArray& signature, evp_pkey_st* pkey,
                                         bool verbose) const;

    /// Computes the SHA-256 (FIPS 180-4), which has 32 bytes.
    [[nodiscard]] static int sha256(QByteArrayView data, QByteArray& digest);

    /// Writes the PEM of the private key (PKCS #8, RFC 5958), not encrypted. The file is accessible by its owner only.
    [[nodiscard]] static int writePrivateKeyPlain(const QString& path, const evp_pkey_st* pkey);
    /// Writes the PEM of the private key, encrypted (PBES2, RFC 8018) under a passphrase of at most 1,024 bytes. The
    /// file is read-only and readable by its owner only. A second run replaces it nevertheless.
    [[nodiscard]] static int writePrivateKeyEncrypted(const QString& path, const evp_pkey_st* pkey,
                                                      QByteArrayView passphrase, KeyCipher cipher);
    /// Writes the PEM of the public key (SubjectPublicKeyInfo). The file is readable by all users.
    [[nodiscard]] static int writePublicKey(const QString& path, const evp_pkey_st* pkey);
    /// Writes the 32 bytes of `publicKeyHash`. The file is readable by all users.
    [[nodiscard]] int writePublicKeyHash(const evp_pkey_st* pkey, const QString& path) const;

    /// Computes the SHA-256 of the result of `publicKeyToDer`.
    [[nodiscard]] int publicKeyHash(const evp_pkey_st* pkey, QByteArray& digest) const;
    /// Writes the DER of the public key (SubjectPublicKeyInfo, RFC 5280).
    [[nodiscard]] static int encodePublicKey(const evp_pkey_st* pkey, QByteArray& der);
    /// Wipes and frees a buffer. Returns 0 if there is nothing to free, otherwise 1. Bytes that another array shares
    /// aren't wiped; the owner of that array wipes them.
    static int releaseBuffer(QByteArray& buffer);

    [[nodiscard]] static int readPublicKeyPem(const QString& path, KeyPointer& pkey);
    /// Reads a PEM public key and writes its whole DER.
    [[nodiscard]] static int readPublicKeyAsDer(const QString& path, QByteArray& der);
    /// Reads a PEM private key that isn't encrypted.
    [[nodiscard]] static int readPrivateKey(const QString& path, KeyPointer& pkey);
    /// Reads an encrypted PEM private key. Prints all parts of an RSA key, even the secret ones.
    [[nodiscard]] static int readPrivateKeyEncrypted(const QString& path, KeyPointer& pkey, QByteArrayView passphrase);
    /// Prints p, q, n, e and d of an RSA key in hexadecimal to standard output. They don't go through the display, so
    /// the log doesn't contain them.
    static void printRsaKey(const evp_pkey_st* pkey);

    /// Removes the public key from the PKCS #8 DER of a PEM private key on Prime256v1, at fixed offsets, and stores the
    /// rest in `rawPrivateKey`. The rest is 68 bytes shorter than the DER and ends with the two header bytes of the
    /// public key. Returns 1 or 0.
    [[nodiscard]] int extractRawPrivateKey(const QString& path);

    /// Signs the SHA-256 of `data` with the encrypted key at `keyPath`.
    [[nodiscard]] int signData(QByteArrayView data, const QString& keyPath, QByteArrayView passphrase,
                               QByteArray& signature, bool verbose) const;

    /// Generates a key pair and writes its private PEM, encrypted by `algorithm` (0: AES-128-CBC, 1: AES-256-CBC), its
    /// public PEM and the hash of its public key. An RSA key has no hash; its absence isn't a failure.
    [[nodiscard]] int generateKeyFiles(const QString& privatePath, const QString& publicPath, const QString& hashPath,
                                       QByteArrayView passphrase, std::int32_t algorithm) const;

    QByteArray rawPrivateKey;  ///< result of `extractRawPrivateKey`; the destructor wipes it
    std::uint64_t rawPrivateKeySize = 0;

  protected:
    /// Selects the cipher with the number `algorithm`. False, with a message, if there is none.
    [[nodiscard]] static bool selectCipher(std::int32_t algorithm, KeyCipher& cipher);
};

/// Checks that the parts of an RSA key match, and reports a fault. Returns 1 or -1.
[[nodiscard]] int checkRsaKey(evp_pkey_st* pkey);
