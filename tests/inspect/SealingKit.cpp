#include "tests/inspect/SealingKit.h"

#include "files/byteWriter.h"

#include <openssl/bio.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>

namespace {

const unsigned char* bytesOf(const QByteArray& bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.constData());
}

QByteArray regionKey(const QByteArray& key, char region, const QByteArray& baseIv) {
    return QMessageAuthenticationCode::hash("region" + QByteArray(1, region) + baseIv, key, QCryptographicHash::Sha256)
        .first(16);
}

QByteArray payloadOf(const KitArea& area, const QByteArray& baseIv) {
    return area.regionKeyOf.isEmpty() ? area.payload
                                      : area.payload + regionKey(area.regionKeyOf, area.second.at(8), baseIv);
}

}  // namespace

QByteArray kitSha256(const QByteArray& bytes) {
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
}

QByteArray kitBaseIv(const QByteArray& nonce) {
    return kitSha256(nonce).first(12);
}

Sealed kitSeal(const QByteArray& iv, const QByteArray& additional, const QByteArray& plain, const QByteArray& key) {
    Sealed sealed{QByteArray(plain.size(), '\0'), QByteArray(16, '\0')};
    EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    int written = 0;
    auto* const out = reinterpret_cast<unsigned char*>(sealed.bytes.data());
    EVP_EncryptInit_ex(context, EVP_aes_128_gcm(), nullptr, nullptr, nullptr);
    EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_SET_IVLEN, static_cast<int>(iv.size()), nullptr);
    EVP_EncryptInit_ex(context, nullptr, nullptr, bytesOf(key), bytesOf(iv));
    EVP_EncryptUpdate(context, nullptr, &written, bytesOf(additional), static_cast<int>(additional.size()));
    if (!plain.isEmpty()) {
        EVP_EncryptUpdate(context, out, &written, bytesOf(plain), static_cast<int>(plain.size()));
    }
    EVP_EncryptFinal_ex(context, out, &written);
    EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_GET_TAG, 16, sealed.tag.data());
    EVP_CIPHER_CTX_free(context);
    return sealed;
}

QByteArray kitAreaIv(const QByteArray& nonce, std::uint32_t kind, std::uint8_t version, std::uint16_t number) {
    QByteArray iv = kitBaseIv(nonce);
    const std::uint32_t mask = kind << 24 | std::uint32_t{version} << 16 | number;
    for (int i = 0; i < 4; ++i) {
        iv[8 + i] = static_cast<char>(iv.at(8 + i) ^ static_cast<char>(mask >> (24 - 8 * i)));
    }
    return iv;
}

QByteArray kitMake(const KitImage& image) {
    const QByteArray baseIv = kitBaseIv(image.nonce);
    const std::uint16_t count = image.count.value_or(static_cast<std::uint16_t>(image.areas.size()));
    QByteArray bytes = image.magic;
    appendU16(bytes, image.protocol);
    appendU16(bytes, count);
    bytes += baseIv + image.headerEnd;
    const QByteArray header = bytes;
    std::uint16_t number = 0;
    for (const KitArea& area : image.areas) {
        ++number;
        const QByteArray payload = payloadOf(area, baseIv);
        const std::uint8_t version = area.version.value_or(image.version);
        const std::uint16_t index = area.index.value_or(number);
        QByteArray head;
        head.append(area.letter);
        head.append(static_cast<char>(version));
        appendU16(head, index);
        appendU32(head, static_cast<std::uint32_t>(payload.size()));
        appendU32(head, area.address);
        appendU16(head, area.count.value_or(count));
        const bool hasSecond = image.hasSecond || image.protocol != 1;
        const QByteArray second = !hasSecond              ? QByteArray()
                                  : area.second.isEmpty() ? QByteArray(16, '\0')
                                                          : area.second;
        const Sealed sealed =
            kitSeal(kitAreaIv(image.nonce, image.ivKind, version, index), header + head + second, payload);
        bytes += head + sealed.tag + second + sealed.bytes;
    }
    return bytes;
}

KitArea kitHash(const std::vector<KitArea>& areas) {
    QByteArray all;
    for (const KitArea& area : areas) {
        all += payloadOf(area, kitBaseIv(KitImage().nonce));
    }
    return {'H', 0, kitSha256(all), {}, {}, {}, {}, {}};
}

KitImage kitInstallImage() {
    KitImage image;
    image.areas = {{'F', 0x08000000, QByteArray(48, 'f'), {}, {}, {}, {}, {}},
                   {'F', 0x08000100, QByteArray(17, 'g'), {}, {}, {}, {}, {}}};
    image.areas.push_back(kitHash(image.areas));
    image.areas.push_back({'C', 0, QByteArray(8, 'c'), {}, {}, {}, {}, {}});
    return image;
}

KitImage kitExternalImage() {
    KitImage image;
    image.protocol = 2;
    QByteArray descriptor;
    appendU32(descriptor, 0xB0000000);
    appendU32(descriptor, 2);
    appendU32(descriptor, 5);
    appendU32(descriptor, 0x08001000);
    QByteArray block;
    appendU32(block, 0x10000100);
    appendU32(block, 4);
    appendU32(block, 0);
    QByteArray partEnd;
    appendU32(partEnd, 1);
    appendU32(partEnd, 3);
    image.areas = {{'O', 0x10000100, block + "data", {}, {}, {}, {}, {}},
                   {'m', 0x08010000, QByteArray::fromHex("01000000") + "licence", {}, {}, {}, {}, {}},
                   {'M', 0x08010000, QByteArray(40, 'm'), {}, {}, {}, {}, {}},
                   {'E', 0xB0000000, QByteArray(32, 'e'), descriptor, {}, {}, {}, kitKey},
                   {'P', 0x0800F000, partEnd, {}, {}, {}, {}, {}},
                   {'e', 0xB0000000, QByteArray(16, 'x'), descriptor, {}, {}, {}, kitKey}};
    image.areas.push_back(kitHash(image.areas));
    image.areas.push_back({'C', 0, {}, {}, {}, {}, {}, {}});
    return image;
}

KitPair kitUpdate(const QByteArray& segment, std::uint16_t version, std::uint32_t address) {
    QByteArray head = "TBUMAGIC";
    appendU16(head, 1);
    appendU16(head, version);
    appendU32(head, static_cast<std::uint32_t>(segment.size()));
    appendU32(head, address);
    head += kitBaseIv(KitImage().nonce);
    const Sealed sealed = kitSeal(kitAreaIv(KitImage().nonce, 2, static_cast<std::uint8_t>(version), 0),
                                  head + QByteArray(16, '\0'), segment);
    return {head + sealed.tag + QByteArray(16, '\0'), sealed.bytes};
}

QByteArray kitPayload(const QByteArray& blob, const QByteArray& binding) {
    const QByteArray nonce(16, 'p');
    QByteArray head = "PVSPAYLD";
    appendU16(head, 2);
    appendU16(head, 96);
    appendU32(head, static_cast<std::uint32_t>(blob.size()));
    head += nonce + binding;
    const Sealed sealed = kitSeal(nonce, head + QByteArray(16, '\0'), blob);
    return head + sealed.tag + QByteArray(16, '\0') + sealed.bytes;
}

KitImage kitProvisioningImage() {
    KitImage image;
    image.magic = "PVSMAGIC";
    image.ivKind = 1;
    image.hasSecond = true;
    QByteArray record(8, '\0');
    appendU32(record, 4);
    image.areas = {{'S', 0, QByteArray(24, 's'), {}, {}, {}, {}, {}},
                   {'F', 0x08000000, QByteArray(16, 'f'), {}, {}, {}, {}, {}},
                   {'B', 0x50000000, record + "data", {}, {}, {}, {}, {}}};
    return image;
}

QByteArray kitPackagedModule() {
    QByteArray bytes = "TBIMAGIC";
    appendU16(bytes, 65001);
    appendU32(bytes, 7);
    appendU16(bytes, 2);
    bytes += QByteArray(16, 'n') + QByteArray(96, 'h');
    std::uint16_t number = 0;
    for (const char letter : {'F', 'C'}) {
        bytes.append(letter);
        bytes.append('\0');
        appendU16(bytes, ++number);
        appendU32(bytes, 4);
        appendU32(bytes, 0x08000000);
        appendU16(bytes, 2);
        bytes += QByteArray(32, 'b') + "code";
    }
    return bytes;
}

KitSigned kitSign(const QByteArray& image, std::uint32_t length, std::uint8_t algorithm) {
    QByteArray footer = "VXSG";
    appendU32(footer, 3);
    footer.append(static_cast<char>(algorithm));
    footer += QByteArray(3, '\0');
    appendU32(footer, length);
    const QByteArray message = image.first(std::min<qsizetype>(length, image.size())) + footer;

    EVP_PKEY* const key = EVP_EC_gen("P-256");
    EVP_MD_CTX* const context = EVP_MD_CTX_new();
    QByteArray der(80, '\0');
    auto size = static_cast<std::size_t>(der.size());
    EVP_DigestSignInit(context, nullptr, EVP_sha256(), nullptr, key);
    EVP_DigestSign(context, reinterpret_cast<unsigned char*>(der.data()), &size, bytesOf(message),
                   static_cast<std::size_t>(message.size()));
    const unsigned char* start = bytesOf(der);
    ECDSA_SIG* const signature = d2i_ECDSA_SIG(nullptr, &start, static_cast<long>(size));
    QByteArray numbers(64, '\0');
    BN_bn2binpad(ECDSA_SIG_get0_r(signature), reinterpret_cast<unsigned char*>(numbers.data()), 32);
    BN_bn2binpad(ECDSA_SIG_get0_s(signature), reinterpret_cast<unsigned char*>(numbers.data()) + 32, 32);

    KitSigned made{image + footer + numbers, {}, {}};
    BIO* const bio = BIO_new(BIO_s_mem());
    PEM_write_bio_PUBKEY(bio, key);
    char* text = nullptr;
    const long textSize = BIO_get_mem_data(bio, &text);
    made.publicPem = QByteArray(text, textSize);
    unsigned char* encoded = nullptr;
    const int encodedSize = i2d_PUBKEY(key, &encoded);
    made.publicPoint = QByteArray(reinterpret_cast<const char*>(encoded), encodedSize).last(64);
    OPENSSL_free(encoded);
    BIO_free(bio);
    ECDSA_SIG_free(signature);
    EVP_MD_CTX_free(context);
    EVP_PKEY_free(key);
    return made;
}
