#include "Preparation/secureImages/imageCipher.h"

#include "Preparation/primitives/opensslObjects.h"
#include "display/Display.h"

#include <QtEndian>

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>

namespace {

constexpr int digestSize = 32;  // SHA-256

}  // namespace

bool takeImageKey(const QByteArray& key, AesGcm& cipher) {
    if (key.size() != AesGcm::keySize) {
        return reportError("The image key has %lld bytes, %lld are needed", static_cast<long long>(key.size()),
                           static_cast<long long>(AesGcm::keySize));
    }
    return cipher.setKey(key) || reportError("The cipher AES-128-GCM isn't available");
}

bool deriveBaseIv(const QByteArray& nonce, ImageIv& baseIv) {
    if (nonce.isEmpty()) {
        return reportError("The nonce is empty");
    }
    std::array<unsigned char, digestSize> digest{};
    if (EVP_Digest(nonce.constData(), static_cast<std::size_t>(nonce.size()), digest.data(), nullptr, EVP_sha256(),
                   nullptr) != 1) {
        ERR_clear_error();
        return reportError("Error while hashing the nonce");
    }
    std::transform(digest.begin(), digest.begin() + secureImage::baseIvSize, baseIv.begin(),
                   [](unsigned char byte) { return static_cast<char>(byte); });
    return true;
}

ImageIv areaIv(const ImageIv& baseIv, ImageKind kind, std::uint8_t imageVersion, std::uint16_t number) {
    constexpr std::size_t counterOffset = secureImage::baseIvSize - 4;
    const std::uint32_t counter = std::uint32_t{static_cast<std::uint8_t>(kind)} << 24 |
                                  std::uint32_t{imageVersion} << 16 | std::uint32_t{number};
    ImageIv iv = baseIv;
    const auto tail = qFromBigEndian<std::uint32_t>(baseIv.data() + counterOffset);
    qToBigEndian<std::uint32_t>(tail ^ counter, iv.data() + counterOffset);
    return iv;
}

QByteArray deriveRegionKey(const QByteArray& key, std::uint8_t regionNumber, const ImageIv& baseIv) {
    QByteArray message("region");
    message.append(static_cast<char>(regionNumber));
    message.append(baseIv.data(), secureImage::baseIvSize);
    std::array<unsigned char, digestSize> mac{};
    const bool derived = HMAC(EVP_sha256(), key.constData(), static_cast<int>(key.size()), unsignedBytes(message),
                              static_cast<std::size_t>(message.size()), mac.data(), nullptr) != nullptr;
    QByteArray regionKey;
    if (derived) {
        regionKey = QByteArray(reinterpret_cast<const char*>(mac.data()), regionDescriptor::keySize);
    } else {
        ERR_clear_error();
        reportError("Error while deriving the key of region %d", int{regionNumber});
    }
    OPENSSL_cleanse(mac.data(), mac.size());
    return regionKey;
}
