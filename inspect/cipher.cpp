#include "inspect/cipher.h"

#include "files/wipe.h"
#include "inspect/opensslObjects.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>

namespace inspect {

namespace {

constexpr qsizetype keySize = 16;
constexpr qsizetype tagSize = 16;

// Small enough to stay in the cache until the sink has used the decrypted bytes.
constexpr qsizetype pieceSize = 1 << 16;

}  // namespace

void GcmOpener::Free::operator()(evp_cipher_ctx_st* context) const {
    EVP_CIPHER_CTX_free(context);
}

GcmOpener::GcmOpener(QByteArrayView key) : context_(EVP_CIPHER_CTX_new()), buffer_(pieceSize, Qt::Uninitialized) {
    usable_ = context_ != nullptr && key.size() == keySize &&
              EVP_DecryptInit_ex(context_.get(), EVP_aes_128_gcm(), nullptr, bytesOf(key), nullptr) == 1;
}

GcmOpener::~GcmOpener() {
    wipe(buffer_);
}

CheckResult GcmOpener::open(QByteArrayView iv, std::initializer_list<QByteArrayView> additional, QByteArrayView sealed,
                            QByteArrayView tag, const PieceSink& sink) {
    EVP_CIPHER_CTX* const context = context_.get();
    if (!usable_ || iv.isEmpty() || tag.size() != tagSize ||
        EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_SET_IVLEN, static_cast<int>(iv.size()), nullptr) != 1 ||
        EVP_DecryptInit_ex(context, nullptr, nullptr, nullptr, bytesOf(iv)) != 1) {
        return CheckResult::unchecked;
    }
    int written = 0;
    for (const QByteArrayView piece : additional) {
        if (!piece.isEmpty() &&
            EVP_DecryptUpdate(context, nullptr, &written, bytesOf(piece), static_cast<int>(piece.size())) != 1) {
            return CheckResult::unchecked;
        }
    }
    auto* const plain = reinterpret_cast<unsigned char*>(buffer_.data());
    for (qsizetype at = 0; at < sealed.size(); at += pieceSize) {
        const qsizetype size = std::min(pieceSize, sealed.size() - at);
        if (EVP_DecryptUpdate(context, plain, &written, bytesOf(sealed.sliced(at)), static_cast<int>(size)) != 1) {
            return CheckResult::unchecked;
        }
        if (sink) {
            sink(QByteArrayView(buffer_.constData(), size));
        }
    }
    QByteArray expected = tag.toByteArray();
    if (EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_SET_TAG, static_cast<int>(tagSize), expected.data()) != 1) {
        return CheckResult::unchecked;
    }
    return EVP_DecryptFinal_ex(context, plain, &written) == 1 ? CheckResult::good : CheckResult::bad;
}

void Sha256::Free::operator()(evp_md_ctx_st* context) const {
    EVP_MD_CTX_free(context);
}

Sha256::Sha256() : context_(EVP_MD_CTX_new()) {
    usable_ = context_ != nullptr && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1;
}

void Sha256::add(QByteArrayView piece) {
    usable_ = usable_ && EVP_DigestUpdate(context_.get(), piece.data(), static_cast<std::size_t>(piece.size())) == 1;
}

QByteArray Sha256::finish() {
    QByteArray digest(32, '\0');
    const bool done =
        usable_ && EVP_DigestFinal_ex(context_.get(), reinterpret_cast<unsigned char*>(digest.data()), nullptr) == 1;
    usable_ = false;
    return done ? digest : QByteArray();
}

QByteArray sha256(QByteArrayView bytes) {
    Sha256 digest;
    digest.add(bytes);
    return digest.finish();
}

QByteArray hmacSha256(QByteArrayView key, QByteArrayView message) {
    QByteArray code(32, '\0');
    const bool done = HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), bytesOf(message),
                           static_cast<std::size_t>(message.size()), reinterpret_cast<unsigned char*>(code.data()),
                           nullptr) != nullptr;
    return done ? code : QByteArray();
}

CheckResult compareDigest(QByteArrayView made, QByteArrayView found) {
    if (made.isEmpty()) {
        return CheckResult::unchecked;
    }
    return sameBytes(made, found) ? CheckResult::good : CheckResult::bad;
}

bool isCipherOffered(const char* name) {
    EVP_CIPHER* const cipher = EVP_CIPHER_fetch(nullptr, name, nullptr);
    EVP_CIPHER_free(cipher);
    return cipher != nullptr;
}

bool sameBytes(QByteArrayView a, QByteArrayView b) {
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), static_cast<std::size_t>(a.size())) == 0;
}

}  // namespace inspect
