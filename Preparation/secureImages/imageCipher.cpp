#include "Preparation/secureImages/imageCipher.h"

#include "Preparation/primitives/Sha256.h"
#include "Preparation/primitives/missingAlgorithm.h"
#include "display/Display.h"

#include <QtEndian>

#include <algorithm>
#include <cstring>

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
    Sha256Digest digest{};
    if (!sha256({nonce}, digest)) {
        reportMissing({Algorithm::sha256});
        return reportError("Error while hashing the nonce");
    }
    std::copy_n(digest.begin(), baseIv.size(), baseIv.begin());
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
    Sha256Digest mac{};
    QByteArray regionKey;
    if (hmacSha256(key, message, mac)) {
        regionKey = QByteArray(mac.data(), regionDescriptor::keySize);
    } else {
        reportError("Error while deriving the key of region %d", int{regionNumber});
    }
    explicit_bzero(mac.data(), mac.size());
    return regionKey;
}
