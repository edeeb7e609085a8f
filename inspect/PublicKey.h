#pragma once

#include "inspect/Description.h"

#include <cstdint>
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

    /// The RSA key of a modulus, most significant byte first. Of kind none if that makes no key.
    [[nodiscard]] static PublicKey fromModulus(QByteArrayView modulus, std::uint32_t exponent);

    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] int bits() const;
    /// SubjectPublicKeyInfo (RFC 5280).
    [[nodiscard]] QByteArray der() const;
    /// The modulus of an RSA key, most significant byte first, without a sign byte.
    [[nodiscard]] QByteArray modulus() const;
    /// R^2 mod n for R = 2^2048, the constant of Montgomery multiplication, most significant byte first, as long as the
    /// modulus.
    [[nodiscard]] QByteArray montgomerySquare() const;
    /// SubjectPublicKeyInfo in PEM form.
    [[nodiscard]] QByteArray pem() const;
    /// RSAPublicKey (RFC 8017, A.1.1); empty for another kind.
    [[nodiscard]] QByteArray rsaDer() const;

    enum class Padding { pkcs1, pss };
    /// RSA over SHA-256 of the pieces (RFC 8017); the salt of PSS has 32 bytes. This and the others are `bad` for a key
    /// of another kind, and `unchecked` if OpenSSL doesn't offer the algorithm.
    [[nodiscard]] CheckResult verifyRsa(Padding padding, std::initializer_list<QByteArrayView> pieces,
                                        QByteArrayView signature) const;
    /// ECDSA over SHA-256 of the pieces (FIPS 186-5), with r and s as 32 bytes each, or as DER.
    [[nodiscard]] CheckResult verifyEcdsa(std::initializer_list<QByteArrayView> pieces, QByteArrayView r,
                                          QByteArrayView s) const;
    [[nodiscard]] CheckResult verifyEcdsa(std::initializer_list<QByteArrayView> pieces, QByteArrayView signature) const;
    /// Ed25519 over `message` itself (RFC 8032).
    [[nodiscard]] CheckResult verifyEd25519(QByteArrayView message, QByteArrayView signature) const;

    /// ECDH on P-256 with a private key in PEM form that has no passphrase (SEC 1, 3.3.1): the shared X coordinate, 32
    /// bytes, which the caller wipes. Empty if the keys don't fit.
    [[nodiscard]] QByteArray agree(QByteArrayView privatePem) const;

  private:
    struct Free {
        void operator()(evp_pkey_st* key) const;
    };
    std::unique_ptr<evp_pkey_st, Free> key_;
    Kind kind_ = Kind::none;
};

/// Why a given key can't be used: it is none, or OpenSSL doesn't offer keys of all our kinds, and it may be one of
/// those.
[[nodiscard]] Reason unusableReason();

}  // namespace inspect
