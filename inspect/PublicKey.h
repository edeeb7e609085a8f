#pragma once

#include <QByteArray>

#include <initializer_list>
#include <memory>

struct evp_pkey_st;

namespace inspect {

/// The public key that a signature is proven with.
class PublicKey {
  public:
    enum class Kind { none, rsa, p256, ed25519, other };

    /// Takes a `PUBLIC KEY` in PEM form (RFC 7468), or a point of P-256 as 64 bytes: X, then Y, big-endian. Anything
    /// else is a key of kind none, which proves nothing.
    explicit PublicKey(QByteArrayView file);

    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] int bits() const;
    /// SubjectPublicKeyInfo (RFC 5280).
    [[nodiscard]] QByteArray der() const;
    /// The modulus of an RSA key, most significant byte first, without a sign byte.
    [[nodiscard]] QByteArray modulus() const;
    /// RSAPublicKey (RFC 8017, A.1.1); empty for another kind.
    [[nodiscard]] QByteArray rsaDer() const;

    enum class Padding { pkcs1, pss };
    /// RSA over SHA-256 of the pieces (RFC 8017); the salt of PSS has 32 bytes.
    [[nodiscard]] bool verifyRsa(Padding padding, std::initializer_list<QByteArrayView> pieces,
                                 QByteArrayView signature) const;
    /// ECDSA over SHA-256 of the pieces (FIPS 186-5), with r and s as 32 bytes each, or as DER.
    [[nodiscard]] bool verifyEcdsa(std::initializer_list<QByteArrayView> pieces, QByteArrayView r,
                                   QByteArrayView s) const;
    [[nodiscard]] bool verifyEcdsa(std::initializer_list<QByteArrayView> pieces, QByteArrayView signature) const;
    /// Ed25519 over `message` itself (RFC 8032).
    [[nodiscard]] bool verifyEd25519(QByteArrayView message, QByteArrayView signature) const;

  private:
    struct Free {
        void operator()(evp_pkey_st* key) const;
    };
    std::unique_ptr<evp_pkey_st, Free> key_;
    Kind kind_ = Kind::none;
};

}  // namespace inspect
