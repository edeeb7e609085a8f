#pragma once

#include "Preparation/primitives/keyPem.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <cstdint>

/// Key services for RSA, and the common part of those for elliptic curves.
///
/// Every operation gives 1 for success, and -1 or 0 for a failure that it has told through the display (the numbers
/// have names in keyServiceResult.h). Results stay as they were on failure. Keys given in may be null; that is a
/// failure like any other.
class Crypto {
  public:
    Crypto();
    virtual ~Crypto();
    Crypto(const Crypto&) = delete;
    Crypto& operator=(const Crypto&) = delete;

    /// The form of the public key that is hashed. RSA has none: always 0, with a message.
    [[nodiscard]] virtual int publicKeyToDer(const evp_pkey_st* pkey, QByteArray& der) const;
    /// Makes a 4096-bit RSA key with the exponent 65537 and checks it.
    [[nodiscard]] virtual int generateKeyPair(KeyPointer& pkey) const;
    /// Signs a SHA-256 digest by RSASSA-PKCS1-v1_5 (RFC 8017) and verifies the signature: 1 if it holds, 0 if not, -1
    /// for a step that fails. `verbose` also tells what goes well.
    [[nodiscard]] virtual int signDigest(QByteArrayView digest, QByteArray& signature, evp_pkey_st* pkey,
                                         bool verbose) const;

    /// SHA-256 (FIPS 180-4): 32 bytes.
    [[nodiscard]] static int sha256(QByteArrayView data, QByteArray& digest);

    /// PEM of the private key (PKCS #8, RFC 5958), not encrypted; the file is its owner's alone.
    [[nodiscard]] static int writePrivateKeyPlain(const QString& path, const evp_pkey_st* pkey);
    /// PEM of the private key, encrypted (PBES2, RFC 8018) under a passphrase of at most 1,024 bytes. The file can be
    /// read by its owner alone and written by nobody; a second run replaces it all the same.
    [[nodiscard]] static int writePrivateKeyEncrypted(const QString& path, const evp_pkey_st* pkey,
                                                      QByteArrayView passphrase, KeyCipher cipher);
    /// PEM of the public key (SubjectPublicKeyInfo); the file can be read by everybody.
    [[nodiscard]] static int writePublicKey(const QString& path, const evp_pkey_st* pkey);
    /// The 32 bytes of `publicKeyHash`; the file can be read by everybody.
    [[nodiscard]] int writePublicKeyHash(const evp_pkey_st* pkey, const QString& path) const;

    /// SHA-256 over what `publicKeyToDer` gives.
    [[nodiscard]] int publicKeyHash(const evp_pkey_st* pkey, QByteArray& digest) const;
    /// DER of the public key (SubjectPublicKeyInfo, RFC 5280).
    [[nodiscard]] static int encodePublicKey(const evp_pkey_st* pkey, QByteArray& der);
    /// Wipes and frees; 0 when there is nothing to free, else 1. Bytes that another owner holds too are that owner's to
    /// wipe and stay as they are.
    static int releaseBuffer(QByteArray& buffer);

    [[nodiscard]] static int readPublicKeyPem(const QString& path, KeyPointer& pkey);
    /// Reads a PEM public key and gives its whole DER.
    [[nodiscard]] static int readPublicKeyAsDer(const QString& path, QByteArray& der);
    /// Reads a PEM private key that isn't encrypted.
    [[nodiscard]] static int readPrivateKey(const QString& path, KeyPointer& pkey);
    /// Reads an encrypted PEM private key, and prints the parts of an RSA key, the secret ones too.
    [[nodiscard]] static int readPrivateKeyEncrypted(const QString& path, KeyPointer& pkey, QByteArrayView passphrase);
    /// Prints p, q, n, e and d of an RSA key in hexadecimal to standard output, past the display and so past the log.
    static void printRsaKey(const evp_pkey_st* pkey);

    /// Cuts the public key out of the PKCS #8 DER of a PEM private key on Prime256v1, by fixed offsets, and keeps what
    /// is left in `rawPrivateKey`: the DER less 68 bytes, with the public key's two header bytes at its end. 1 or 0.
    [[nodiscard]] int extractRawPrivateKey(const QString& path);

    /// Signs SHA-256 of `data` with the encrypted key at `keyPath`.
    [[nodiscard]] int signData(QByteArrayView data, const QString& keyPath, QByteArrayView passphrase,
                               QByteArray& signature, bool verbose) const;

    /// Makes a key pair and writes its private PEM, encrypted by `algorithm` (0: AES-128-CBC, 1: AES-256-CBC), its
    /// public PEM and the hash of its public key. The hash of an RSA key doesn't exist; that fails nothing.
    [[nodiscard]] int generateKeyFiles(const QString& privatePath, const QString& publicPath, const QString& hashPath,
                                       QByteArrayView passphrase, std::int32_t algorithm) const;

    QByteArray rawPrivateKey;  ///< result of `extractRawPrivateKey`; wiped with this object
    std::uint64_t rawPrivateKeySize = 0;

  protected:
    /// Tells the cipher of `algorithm`; false, with a message, for a number that names none.
    [[nodiscard]] static bool selectCipher(std::int32_t algorithm, KeyCipher& cipher);
};

/// Checks the parts of an RSA key against each other, telling what is wrong. 1 or -1.
[[nodiscard]] int checkRsaKey(evp_pkey_st* pkey);
