#include "Preparation/primitives/AesGcm.h"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include <algorithm>
#include <array>

namespace {

// EVP uses `int` for sizes. A multiple of the cipher block keeps every call except the last one aligned.
constexpr qsizetype maxUpdate = qsizetype{1} << 30;

}  // namespace

bool AesGcm::setKey(QByteArrayView key) {
    step_ = Step::noKey;
    if (key.size() != keySize) {
        return false;
    }
    context_.reset(EVP_CIPHER_CTX_new());
    const OpensslPointer<EVP_CIPHER> cipher(EVP_CIPHER_fetch(nullptr, "AES-128-GCM", nullptr));
    if (!context_ || !cipher ||
        EVP_EncryptInit_ex2(context_.get(), cipher.get(), unsignedBytes(key), nullptr, nullptr) != 1) {
        ERR_clear_error();
        return false;
    }
    step_ = Step::ready;
    return true;
}

bool AesGcm::start(QByteArrayView iv, std::initializer_list<QByteArrayView> additionalData) {
    if (step_ == Step::noKey) {
        return false;
    }
    step_ = Step::ready;
    if (iv.isEmpty() || iv.size() > maxIvSize) {
        return false;
    }
    std::size_t ivSize = static_cast<std::size_t>(iv.size());
    const std::array<OSSL_PARAM, 2> parameters{OSSL_PARAM_construct_size_t(OSSL_CIPHER_PARAM_AEAD_IVLEN, &ivSize),
                                               OSSL_PARAM_construct_end()};
    if (EVP_CIPHER_CTX_set_params(context_.get(), parameters.data()) != 1 ||
        EVP_EncryptInit_ex2(context_.get(), nullptr, nullptr, unsignedBytes(iv), nullptr) != 1) {
        ERR_clear_error();
        return false;
    }
    step_ = Step::message;
    return std::all_of(additionalData.begin(), additionalData.end(),
                       [this](QByteArrayView piece) { return update(piece, nullptr); });
}

bool AesGcm::encrypt(QByteArrayView plain, char* out) {
    return plain.isEmpty() ? step_ == Step::message : out != nullptr && update(plain, out);
}

bool AesGcm::update(QByteArrayView bytes, char* out) {
    for (qsizetype done = 0; step_ == Step::message && done < bytes.size(); done += maxUpdate) {
        const QByteArrayView piece = bytes.sliced(done, std::min(maxUpdate, bytes.size() - done));
        const int size = static_cast<int>(piece.size());
        int written = 0;
        auto* const destination = out == nullptr ? nullptr : reinterpret_cast<unsigned char*>(out + done);
        if (EVP_EncryptUpdate(context_.get(), destination, &written, unsignedBytes(piece), size) != 1 ||
            written != size) {
            ERR_clear_error();
            step_ = Step::ready;
        }
    }
    return step_ == Step::message;
}

bool AesGcm::finish(char* tag) {
    if (step_ != Step::message) {
        return false;
    }
    step_ = Step::ready;
    std::array<unsigned char, tagSize> nothing{};  // stays unused: GCM writes no last block
    int written = 0;
    std::array<OSSL_PARAM, 2> parameters{OSSL_PARAM_construct_octet_string(OSSL_CIPHER_PARAM_AEAD_TAG, tag, tagSize),
                                         OSSL_PARAM_construct_end()};
    if (EVP_EncryptFinal_ex(context_.get(), nothing.data(), &written) != 1 || written != 0 ||
        EVP_CIPHER_CTX_get_params(context_.get(), parameters.data()) != 1) {
        ERR_clear_error();
        return false;
    }
    return true;
}
