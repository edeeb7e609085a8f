#include "token/SigningKey.h"

#include "Preparation/primitives/Sha256.h"
#include "Preparation/primitives/ecdsa.h"
#include "Preparation/primitives/keyFiles.h"
#include "Preparation/primitives/keyPem.h"
#include "Preparation/primitives/publicKeys.h"
#include "Preparation/primitives/rsaSignature.h"
#include "display/Display.h"
#include "files/wipe.h"
#include "token/OpenToken.h"
#include "token/secretFile.h"

#include <QThread>

#include <deque>
#include <functional>

namespace token {

namespace {

constexpr qint64 maxKeyFile = 65536;
constexpr int rsaBits = 2048;
constexpr qsizetype rsaSize = rsaBits / 8;
constexpr qsizetype rawSize = 64;
constexpr qsizetype pieceSize = 32;  // signatures that one thread verifies
constexpr std::size_t mostVerifications = 4;

// The DER of DigestInfo for SHA-256, before the digest (RFC 8017, 9.2, note 1).
constexpr QByteArrayView digestInfo("\x30\x31\x30\x0d\x06\x09\x60\x86\x48\x01\x65\x03\x04\x02\x01\x05\x00\x04\x20", 19);

const char* wantedKey(std::optional<SignatureKind> kind) {
    constexpr const char* names[] = {"an elliptic-curve key on P-256", "an RSA key of 2048 bits"};
    return kind ? names[static_cast<int>(*kind)] : "an elliptic-curve key on P-256 or an RSA key of 2048 bits";
}

std::optional<SignatureKind> kindOf(const KeyTraits& traits) {
    if (traits.kind == KeyTraits::Kind::p256) {
        return SignatureKind::ecdsaP256;
    }
    return traits.kind == KeyTraits::Kind::rsa && traits.bits == rsaBits ? std::optional(SignatureKind::rsa2048)
                                                                         : std::nullopt;
}

QByteArray description(const KeyTraits& traits) {
    switch (traits.kind) {
        case KeyTraits::Kind::p256:
            return "an elliptic-curve key on P-256";
        case KeyTraits::Kind::rsa:
            return "an RSA key of " + QByteArray::number(traits.bits) + " bits";
        case KeyTraits::Kind::other:
            break;
    }
    return "a key of another kind";
}

bool fits(std::optional<SignatureKind> kind, const evp_pkey_st* key, const QString& name) {
    const KeyTraits traits = traitsOf(key);
    const std::optional<SignatureKind> found = kindOf(traits);
    return (found && (!kind || found == kind)) ||
           reportError("The key %s is %s, this format needs %s", qUtf8Printable(name), description(traits).constData(),
                       wantedKey(kind));
}

/// Verifies a piece of the signatures in a thread of its own. A piece that isn't full is verified by `holds`.
class Verification {
  public:
    Verification(SignatureKind kind, evp_pkey_st* publicKey, const QList<QByteArray>& digests,
                 const QList<QByteArray>& signatures)
        : verify_([kind, publicKey, digests, signatures] {
              bool isGood = true;
              for (qsizetype i = 0; i < digests.size(); ++i) {
                  isGood = isGood && verifySignature(kind, publicKey, digests.at(i), signatures.at(i));
              }
              return isGood;
          }) {
        if (digests.size() < pieceSize) {
            return;
        }
        thread_.reset(QThread::create([this] { isGood_ = verify_(); }));
        thread_->start();
        if (!thread_->isRunning() && !thread_->isFinished()) {
            thread_.reset();  // the system has no thread left
        }
    }
    Verification(const Verification&) = delete;
    Verification& operator=(const Verification&) = delete;
    ~Verification() {
        if (thread_) {
            thread_->wait();
        }
    }

    /// Waits for the end.
    [[nodiscard]] bool holds() {
        if (!thread_) {
            return verify_();
        }
        return thread_->wait() && isGood_;
    }

  private:
    std::function<bool()> verify_;
    std::unique_ptr<QThread> thread_;
    bool isGood_ = false;
};

}  // namespace

struct SigningKey::InToken {
    KeyUri uri;
    OpenToken token;
    TokenKey key;
    bool isLoginPerUse = false;
};

SigningKey::SigningKey() = default;

SigningKey::~SigningKey() = default;

bool SigningKey::open(const KeyName& name, SignatureKind kind) {
    return openAs(name, kind);
}

bool SigningKey::open(const KeyName& name) {
    return openAs(name, std::nullopt);
}

bool SigningKey::openAs(const KeyName& name, std::optional<SignatureKind> kind) {
    name_ = name.key;
    kind_ = kind;
    if (!(KeyUri::isUri(name.key) ? openInToken(name.key) : openFile(name.key)) || !completePublicKey(name) ||
        !fits(kind, publicKey_.get(), name_)) {
        return false;
    }
    kind_ = kindOf(traitsOf(publicKey_.get()));
    return true;
}

bool SigningKey::openFile(const QString& path) {
    QByteArray pem;
    const WipeOnExit wiped(pem);
    if (!readSecretFile(path, "private key", maxKeyFile, pem)) {
        return false;
    }
    bool isPassphraseWanted = false;
    privateKey_ = privateKeyFromPem(pem, {}, &isPassphraseWanted);
    if (isPassphraseWanted) {
        return reportError("The private key %s has a passphrase, only keys without one can be used",
                           qUtf8Printable(path));
    }
    QByteArray publicPem;
    if (!isValidPrivateKey(privateKey_.get()) || !publicKeyToPem(privateKey_.get(), publicPem)) {
        return reportError("The file %s isn't a valid private key in PEM form", qUtf8Printable(path));
    }
    publicKey_ = publicKeyFromPem(publicPem);
    return true;
}

bool SigningKey::openInToken(const QString& uri) {
    auto place = std::make_unique<InToken>();
    if (!place->uri.parse(uri, CKO_PRIVATE_KEY) || !place->token.open(place->uri) ||
        !place->token.findKey(place->uri, CKO_PRIVATE_KEY, place->key)) {
        return false;
    }
    const Session& session = place->token.session();
    const bool isRsa = place->key.type == CKK_RSA;
    if ((!isRsa && place->key.type != CKK_EC) || (kind_ && isRsa != (kind_ == SignatureKind::rsa2048))) {
        return reportError("The key %s is of another kind, this format needs %s", qUtf8Printable(uri),
                           wantedKey(kind_));
    }
    bool isP256 = true;
    bool isForSignatures = true;
    if ((!isRsa && !readIsP256(session, place->key, isP256)) ||
        !session.readFlag(place->key.object, CKA_SIGN, true, isForSignatures) ||
        !session.readFlag(place->key.object, CKA_ALWAYS_AUTHENTICATE, false, place->isLoginPerUse)) {
        return false;
    }
    if (!isP256) {
        return reportError("The key %s is on another curve, this format needs %s", qUtf8Printable(uri),
                           wantedKey(kind_));
    }
    if (!isForSignatures) {
        return reportError("The key %s may not sign (CKA_SIGN), this format needs %s that may", qUtf8Printable(uri),
                           wantedKey(kind_));
    }
    if (!place->token.canSign(isRsa ? CKM_RSA_PKCS : CKM_ECDSA, isRsa ? "CKM_RSA_PKCS" : "CKM_ECDSA") ||
        (place->isLoginPerUse && !place->token.readPinAgain(place->uri)) ||
        !publicKeyOfPrivate(session, place->key, publicKey_)) {
        return false;
    }
    if (!place->isLoginPerUse) {
        place->token.forgetPin();
    }
    inToken_ = std::move(place);
    return true;
}

/// Takes the public key from its file if the token doesn't disclose it. If both have it, they must agree.
bool SigningKey::completePublicKey(const KeyName& name) {
    if (name.publicPath.isEmpty()) {
        return publicKey_ != nullptr ||
               reportError("The token doesn't disclose the public key of %s, give it with --public",
                           qUtf8Printable(name_));
    }
    KeyPointer read = readPublicKey(kind_, name.publicPath);
    if (!read) {
        return false;
    }
    if (publicKey_ && !isSamePublicKey(publicKey_.get(), read.get())) {
        return reportError("The public key %s isn't that of %s", qUtf8Printable(name.publicPath),
                           qUtf8Printable(name_));
    }
    publicKey_ = std::move(read);
    return true;
}

bool SigningKey::makeSignature(QByteArrayView digest, QByteArray& signature) const {
    const bool isRsa = kind_ == SignatureKind::rsa2048;
    if (inToken_) {
        const QByteArray* const pin = inToken_->isLoginPerUse ? &inToken_->token.pin() : nullptr;
        const Session& session = inToken_->token.session();
        return isRsa ? session.sign({CKM_RSA_PKCS, inToken_->key.object, pin}, digestInfo.toByteArray().append(digest),
                                    rsaSize, signature)
                     : session.sign({CKM_ECDSA, inToken_->key.object, pin}, digest, rawSize, signature);
    }
    QByteArray der;
    return (isRsa ? signRsa(privateKey_.get(), digest, rsaBits, signature) == RsaStep::done
                  : signEcdsa(privateKey_.get(), digest, der) && toRawSignature(der, signature)) ||
           reportError("The key %s can't sign", qUtf8Printable(name_));
}

bool SigningKey::sign(QByteArrayView digest, QByteArray& signature) const {
    QList<QByteArray> made;
    if (!sign(QList<QByteArray>{digest.toByteArray()}, made)) {
        return false;
    }
    signature = made.constFirst();
    return true;
}

bool SigningKey::sign(const QList<QByteArray>& digests, QList<QByteArray>& signatures) const {
    QList<QByteArray> made;
    std::deque<Verification> running;
    bool isMade = publicKey_ != nullptr && kind_.has_value();
    bool isValid = true;
    for (qsizetype first = 0; isMade && isValid && first < digests.size(); first += pieceSize) {
        const QList<QByteArray> piece = digests.mid(first, pieceSize);
        for (const QByteArray& digest : piece) {
            QByteArray signature;
            isMade = isMade && digest.size() == qsizetype{std::tuple_size_v<Sha256Digest>} &&
                     makeSignature(digest, signature);
            made.append(signature);
        }
        if (isMade) {
            running.emplace_back(*kind_, publicKey_.get(), piece, made.mid(first));
        }
        if (running.size() == mostVerifications) {
            isValid = running.front().holds();
            running.pop_front();
        }
    }
    for (Verification& left : running) {
        isValid = left.holds() && isValid;
    }
    if (!isValid) {
        return reportError("The signature of the key %s doesn't verify with its public key", qUtf8Printable(name_));
    }
    if (isMade) {
        signatures = made;
    }
    return isMade;
}

bool openSigner(const KeyName& name, SignatureKind kind, QByteArray& publicPem, Signer& signer) {
    const auto key = std::make_shared<SigningKey>();
    if (!key->open(name, kind)) {
        return false;
    }
    if (!publicKeyToPem(key->publicKey(), publicPem)) {
        return reportError("The public key can't be written as PEM");
    }
    signer = [key](QByteArrayView digest, QByteArray& signature) { return key->sign(digest, signature); };
    return true;
}

KeyPointer readPublicKey(std::optional<SignatureKind> kind, const QString& path) {
    QByteArray pem;
    if (!readKeyFile(path, pem)) {
        reportError("The public key %s can't be read", qUtf8Printable(path));
        return nullptr;
    }
    KeyPointer key = publicKeyFromPem(pem);
    if (!isValidPublicKey(key.get())) {
        reportError("The file %s isn't a valid public key in PEM form", qUtf8Printable(path));
        return nullptr;
    }
    return fits(kind, key.get(), path) ? std::move(key) : nullptr;
}

bool verifySignature(SignatureKind kind, evp_pkey_st* publicKey, QByteArrayView digest, QByteArrayView signature) {
    if (kind == SignatureKind::rsa2048) {
        return signature.size() == rsaSize && verifyRsa(publicKey, digest, signature) == RsaStep::done;
    }
    QByteArray der;
    return signature.size() == rawSize && toDerSignature(signature, der) &&
           verifyEcdsa(publicKey, digest, der) == EcdsaCheck::holds;
}

}  // namespace token
