#include "Preparation/primitives/Sha256.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>

namespace {

unsigned char* outputOf(Sha256Digest& digest) {
    return reinterpret_cast<unsigned char*>(digest.data());
}

bool succeeded(bool result) {
    if (!result) {
        ERR_clear_error();
    }
    return result;
}

}  // namespace

Sha256::Sha256() : context_(EVP_MD_CTX_new()) {
}

bool Sha256::start() {
    return succeeded(context_ && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1);
}

bool Sha256::update(QByteArrayView bytes) {
    return succeeded(context_ && EVP_DigestUpdate(context_.get(), bytes.data(), unsignedSize(bytes)) == 1);
}

bool Sha256::finish(Sha256Digest& digest) {
    return succeeded(context_ && EVP_DigestFinal_ex(context_.get(), outputOf(digest), nullptr) == 1);
}

bool sha256(std::initializer_list<QByteArrayView> pieces, Sha256Digest& digest) {
    Sha256 hash;
    return hash.start() &&
           std::all_of(pieces.begin(), pieces.end(), [&hash](QByteArrayView piece) { return hash.update(piece); }) &&
           hash.finish(digest);
}

bool hmacSha256(QByteArrayView key, QByteArrayView message, Sha256Digest& mac) {
    return succeeded(HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), unsignedBytes(message),
                          unsignedSize(message), outputOf(mac), nullptr) != nullptr);
}
