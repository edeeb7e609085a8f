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

    /// The 64 bytes of the public point, X then Y, big-endian each: the DER of the key without its header of 27 bytes
    /// (brainpoolP256t1: 28). Prints the whole DER. A key of another size or form is refused.
    [[nodiscard]] int publicKeyToDer(const evp_pkey_st* pkey, QByteArray& der) const override;
    /// Makes a key on `curveNid` in named-curve form and checks it. 1, or 0 when a step fails.
    [[nodiscard]] int generateKeyPair(KeyPointer& pkey) const override;

    /// Sets `curveNid`, whatever it is; -1 if it is none of the two curves.
    [[nodiscard]] int setCurve(std::int32_t nid);

    /// As in `Crypto`, on the curve of this object; here a hash file that can't be written is a failure.
    [[nodiscard]] int generateKeyFiles(const QString& privatePath, const QString& publicPath, const QString& hashPath,
                                       QByteArrayView passphrase, std::int32_t algorithm) const;

    /// Copies `in` backward to `out`; gives the number of bytes.
    static qsizetype reverseBytes(QByteArray& out, QByteArrayView in);

    /// Signs a digest by ECDSA (FIPS 186-4) and verifies the signature: 64 bytes, r then s, big-endian each. 1 if it
    /// holds, 0 if not, -1 for a step that fails.
    [[nodiscard]] static int signDigestEcdsa(QByteArrayView digest, QByteArray& signature, evp_pkey_st* pkey);

    /// Reads a PEM public key and gives the 64 bytes of its point. 1 or -1.
    [[nodiscard]] int readRawPublicKey(const QString& path, QByteArray& der) const;
    /// Reads a PEM public key of any kind, gives its whole DER (SubjectPublicKeyInfo) and prints it. 1 or 0. A key on a
    /// 256-bit curve has its point in the last 64 bytes; other keys can be shorter than that.
    [[nodiscard]] static int readPublicKeyDer(const QString& path, QByteArray& der);

    std::int32_t curveNid = 0;
};
