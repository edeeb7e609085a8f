#pragma once

#include "Preparation/src/crypto.h"

/// The curves of `EC_Crypto`, by their OpenSSL numbers.
inline constexpr std::int32_t prime256v1Nid = 415;
inline constexpr std::int32_t brainpoolP256t1Nid = 928;

/// Key services for elliptic curves of 256 bits.
class EC_Crypto : public Crypto {
  public:
    EC_Crypto();
    explicit EC_Crypto(std::int32_t nid);

    /// Writes the 64 bytes of the public point: X, then Y, both big-endian. They are the DER of the key without its
    /// header of 27 bytes (brainpoolP256t1: 28). Prints the whole DER. Rejects a key of another size or form.
    [[nodiscard]] int publicKeyToDer(const evp_pkey_st* pkey, QByteArray& der) const override;
    /// Generates a key on `curveNid` in named-curve form and checks it. Returns 1, or 0 if a step fails.
    [[nodiscard]] int generateKeyPair(KeyPointer& pkey) const override;

    /// Sets `curveNid`. An unsupported curve is also set, but the result is then -1.
    [[nodiscard]] int setCurve(std::int32_t nid);

    /// Does the same as in `Crypto`, on the curve of this object. Here, a hash file that can't be written is a failure.
    [[nodiscard]] int generateKeyFiles(const QString& privatePath, const QString& publicPath, const QString& hashPath,
                                       QByteArrayView passphrase, std::int32_t algorithm) const;

    /// Copies `in` in reverse order to `out`. Returns the number of bytes.
    static qsizetype reverseBytes(QByteArray& out, QByteArrayView in);

    /// Signs a digest by ECDSA (FIPS 186-4) and verifies the signature. It has 64 bytes: r, then s, both big-endian.
    /// Returns 1 if it is valid, 0 if it isn't, and -1 if a step fails.
    [[nodiscard]] static int signDigestEcdsa(QByteArrayView digest, QByteArray& signature, evp_pkey_st* pkey);

    /// Reads a PEM public key and writes the 64 bytes of its point. Returns 1 or -1.
    [[nodiscard]] int readRawPublicKey(const QString& path, QByteArray& der) const;
    /// Reads a PEM public key of any kind, writes its whole DER (SubjectPublicKeyInfo) and prints it. Returns 1 or 0.
    /// The last 64 bytes of a key on a 256-bit curve are its point. Other keys can be shorter than that.
    [[nodiscard]] static int readPublicKeyDer(const QString& path, QByteArray& der);

    std::int32_t curveNid = 0;
};
