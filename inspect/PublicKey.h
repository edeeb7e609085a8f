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
    enum class Kind { none, rsa, p256, p384, ed25519, other };

    /// Reads a `PUBLIC KEY` in PEM form (RFC 7468), or a point of P-256 as 64 bytes: X, then Y, big-endian. Anything
    /// else makes a key of kind none, which proves nothing.
    explicit PublicKey(QByteArrayView file);

    /// Makes an RSA key from a modulus, most significant byte first. The key is of kind none if the modulus is
    /// unusable.
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
    /// Verifies an RSA signature over SHA-256 of the pieces (RFC 8017); the salt of PSS has 32 bytes. This function and
    /// the next ones return `bad` for a key of another kind and `unchecked` if OpenSSL doesn't offer the algorithm.
    [[nodiscard]] CheckResult verifyRsa(Padding padding, std::initializer_list<QByteArrayView> pieces,
                                        QByteArrayView signature) const;
    /// Verifies an ECDSA signature with P-256 over SHA-256 of the pieces (FIPS 186-5): r and s of 32 bytes each.
    [[nodiscard]] CheckResult verifyEcdsa(std::initializer_list<QByteArrayView> pieces, QByteArrayView r,
                                          QByteArrayView s) const;
    /// Verifies an ECDSA signature in DER form with P-256 over SHA-256 of the pieces, or with P-384 over SHA-384.
    [[nodiscard]] CheckResult verifyEcdsa(std::initializer_list<QByteArrayView> pieces, QByteArrayView signature) const;
    /// Verifies an Ed25519 signature over `message` itself (RFC 8032).
    [[nodiscard]] CheckResult verifyEd25519(QByteArrayView message, QByteArrayView signature) const;

    /// Runs ECDH on P-256 with a private key in PEM form without a passphrase (SEC 1, 3.3.1). Returns the shared X
    /// coordinate, 32 bytes, which the caller wipes. Empty if one of the keys isn't a P-256 key.
    [[nodiscard]] QByteArray agree(QByteArrayView privatePem) const;

  private:
    struct Free {
        void operator()(evp_pkey_st* key) const;
    };
    std::unique_ptr<evp_pkey_st, Free> key_;
    Kind kind_ = Kind::none;
};

/// The reason why a given key can't be used. `notOffered`: OpenSSL lacks a kind of key that we use, and the key may be
/// of that kind. `unusableKey`: OpenSSL offers all these kinds, so the key is of the wrong kind.
[[nodiscard]] Reason unusableReason();

}  // namespace inspect
