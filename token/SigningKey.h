#pragma once

#include "Preparation/primitives/opensslObjects.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace token {

/// The kinds of signatures that the formats have.
enum class SignatureKind {
    ecdsaP256,  ///< ECDSA on P-256 with SHA-256 (FIPS 186-4): r, then s, 32 bytes each, big-endian
    rsa2048,    ///< RSASSA-PKCS1-v1_5 with SHA-256 (RFC 8017) and a key of 2048 bits: 256 bytes
};

/// Where a private key is.
struct KeyName {
    QString key;         ///< a PKCS #11 URI (RFC 7512), or the path of a PEM file, which may be /proc/self/fd/N
    QString publicPath;  ///< a PEM file with the public key, for tokens that don't disclose it; may be empty
};

/// A private key in a file or a token. Every signature is verified with the public key before it is returned.
class SigningKey {
  public:
    SigningKey();
    ~SigningKey();
    SigningKey(const SigningKey&) = delete;
    SigningKey& operator=(const SigningKey&) = delete;

    /// Opens the key, and logs in to its token. False, with a message that says which key would fit, if it can't make
    /// signatures of this kind. A file that other users can use is refused, and so is a key with a passphrase.
    [[nodiscard]] bool open(const KeyName& name, SignatureKind kind);
    /// The same for a key of either kind.
    [[nodiscard]] bool open(const KeyName& name);
    /// The public key; null before `open`.
    [[nodiscard]] evp_pkey_st* publicKey() const { return publicKey_.get(); }
    /// Signs the SHA-256 digest of a message.
    [[nodiscard]] bool sign(QByteArrayView digest, QByteArray& signature) const;
    /// The same for several digests. Other threads verify signatures while the token makes the next ones.
    [[nodiscard]] bool sign(const QList<QByteArray>& digests, QList<QByteArray>& signatures) const;

  private:
    struct InToken;

    [[nodiscard]] bool openAs(const KeyName& name, std::optional<SignatureKind> kind);
    [[nodiscard]] bool openFile(const QString& path);
    [[nodiscard]] bool openInToken(const QString& uri);
    [[nodiscard]] bool completePublicKey(const KeyName& name);
    [[nodiscard]] bool makeSignature(QByteArrayView digest, QByteArray& signature) const;

    QString name_;
    std::optional<SignatureKind> kind_;  // before it is known: either
    KeyPointer privateKey_;              // null for a key in a token
    KeyPointer publicKey_;
    std::unique_ptr<InToken> inToken_;
};

/// Signs the SHA-256 digest of a message; the signature has the form of its kind.
using Signer = std::function<bool(QByteArrayView digest, QByteArray& signature)>;
/// Opens a key for a part of the program that knows no tokens: it gets the public key as PEM and a function that signs.
[[nodiscard]] bool openSigner(const KeyName& name, SignatureKind kind, QByteArray& publicPem, Signer& signer);

/// Reads a public key of the kind, or of either, from a PEM file. Null, with a message, otherwise.
[[nodiscard]] KeyPointer readPublicKey(std::optional<SignatureKind> kind, const QString& path);
/// Whether the signature, in the form of the kind, holds for the digest.
[[nodiscard]] bool verifySignature(SignatureKind kind, evp_pkey_st* publicKey, QByteArrayView digest,
                                   QByteArrayView signature);

}  // namespace token
