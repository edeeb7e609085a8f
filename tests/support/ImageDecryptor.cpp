#include "tests/support/ImageDecryptor.h"

#include <QCryptographicHash>

#include <openssl/evp.h>

// This code follows the documented layouts and shares nothing with the library that makes the images.

namespace {

std::uint32_t number(const QByteArray& bytes, qsizetype offset, int width) {
    std::uint32_t value = 0;
    for (int i = 0; i < width; ++i) {
        value |= std::uint32_t{static_cast<std::uint8_t>(bytes.at(offset + i))} << (8 * i);
    }
    return value;
}

const unsigned char* raw(const QByteArray& bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.constData());
}

std::optional<QByteArray> decrypt(const QByteArray& key, const QByteArray& iv, const QByteArray& authenticated,
                                  const QByteArray& cipherText, QByteArray tag) {
    QByteArray plain(cipherText.size(), '\0');
    EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    int size = 0;
    unsigned char nothing[16];
    const bool verified =
        EVP_DecryptInit_ex(context, EVP_aes_128_gcm(), nullptr, nullptr, nullptr) == 1 &&
        EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_SET_IVLEN, static_cast<int>(iv.size()), nullptr) == 1 &&
        EVP_DecryptInit_ex(context, nullptr, nullptr, raw(key), raw(iv)) == 1 &&
        EVP_DecryptUpdate(context, nullptr, &size, raw(authenticated), static_cast<int>(authenticated.size())) == 1 &&
        EVP_DecryptUpdate(context, reinterpret_cast<unsigned char*>(plain.data()), &size, raw(cipherText),
                          static_cast<int>(cipherText.size())) == 1 &&
        EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_SET_TAG, static_cast<int>(tag.size()), tag.data()) == 1 &&
        EVP_DecryptFinal_ex(context, nothing, &size) == 1;
    EVP_CIPHER_CTX_free(context);
    return verified ? std::optional<QByteArray>(plain) : std::nullopt;
}

QByteArray baseIvOf(const QByteArray& nonce) {
    return QCryptographicHash::hash(nonce, QCryptographicHash::Sha256).first(12);
}

QByteArray ivOf(QByteArray base, int kind, int version, std::uint32_t index) {
    const int mask[] = {kind, version, static_cast<int>(index >> 8), static_cast<int>(index & 0xFF)};
    for (int i = 0; i < 4; ++i) {
        base[8 + i] = static_cast<char>(base.at(8 + i) ^ mask[i]);
    }
    return base;
}

}  // namespace

std::optional<DecryptedAreas> decryptAreas(const QByteArray& image, const QByteArray& key, const QByteArray& nonce) {
    const QByteArray fileHeader = image.first(28);
    const bool provisioning = fileHeader.startsWith("PVSMAGIC");
    const std::uint32_t protocol = number(image, 8, 2);
    const std::uint32_t count = number(image, 10, 2);
    const QByteArray base = baseIvOf(nonce);
    if ((!provisioning && !fileHeader.startsWith("TBIMAGIC")) || (provisioning ? protocol != 1 : protocol > 2) ||
        fileHeader.sliced(12) != base + QByteArray(4, '\0')) {
        return std::nullopt;
    }
    const qsizetype headerSize = provisioning || protocol == 2 ? 46 : 30;
    DecryptedAreas areas;
    qsizetype at = 28;
    for (std::uint32_t index = 1; index <= count; ++index) {
        if (image.size() - at < headerSize) {
            return std::nullopt;
        }
        const QByteArray header = image.sliced(at, headerSize);
        at += headerSize;
        const qsizetype size = number(header, 4, 4);
        if (number(header, 2, 2) != index || number(header, 12, 2) != count || size > image.size() - at) {
            return std::nullopt;
        }
        const QByteArray block = header.sliced(30);
        const auto payload =
            decrypt(key, ivOf(base, provisioning ? 1 : 0, header.at(1), index), fileHeader + header.first(14) + block,
                    image.sliced(at, size), header.sliced(14, 16));
        if (!payload) {
            return std::nullopt;
        }
        areas.push_back({header.at(0), number(header, 8, 4), block, *payload});
        at += size;
    }
    return at == image.size() ? std::optional(areas) : std::nullopt;
}

std::optional<QByteArray> decryptUpdate(const QByteArray& image, const QByteArray& key, const QByteArray& nonce) {
    return decrypt(key, ivOf(baseIvOf(nonce), 2, image.at(10), 0), image.first(32) + image.sliced(48, 16),
                   image.sliced(64), image.sliced(32, 16));
}

std::optional<QByteArray> decryptPayload(const QByteArray& payload, const QByteArray& key) {
    return decrypt(key, payload.sliced(16, 16), payload.first(64) + payload.sliced(80, 16), payload.sliced(96),
                   payload.sliced(64, 16));
}
