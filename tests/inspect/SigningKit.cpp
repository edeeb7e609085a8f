#include "tests/inspect/SigningKit.h"

#include "files/byteWriter.h"

#include <QCryptographicHash>

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <algorithm>
#include <map>

namespace {

EVP_PKEY* makeKey(KitKind kind) {
    switch (kind) {
        case KitKind::rsa2048:
            return EVP_RSA_gen(2048U);
        case KitKind::rsa3072:
            return EVP_RSA_gen(3072U);
        case KitKind::p256:
            return EVP_EC_gen("P-256");
        case KitKind::ed25519:
            break;
    }
    return EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519");
}

template <typename Write>
QByteArray written(Write write) {
    BIO* const bio = BIO_new(BIO_s_mem());
    write(bio);
    const char* bytes = nullptr;
    const auto size = BIO_get_mem_data(bio, &bytes);
    const QByteArray text(bytes, static_cast<qsizetype>(size));
    BIO_free(bio);
    return text;
}

EVP_PKEY* readPrivate(const QByteArray& pem) {
    BIO* const bio = BIO_new_mem_buf(pem.constData(), static_cast<int>(pem.size()));
    EVP_PKEY* const key = PEM_read_bio_PrivateKey(bio, nullptr, nullptr, nullptr);
    BIO_free(bio);
    return key;
}

unsigned char* out(QByteArray& bytes) {
    return reinterpret_cast<unsigned char*>(bytes.data());
}

}  // namespace

KitKey kitMakeKey(KitKind kind) {
    EVP_PKEY* const key = makeKey(kind);
    const bool isRsa = kind == KitKind::rsa2048 || kind == KitKind::rsa3072;
    KitKey made;
    made.privatePem =
        written([key](BIO* bio) { PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr); });
    made.publicPem = written([key](BIO* bio) { PEM_write_bio_PUBKEY(bio, key); });
    unsigned char* der = nullptr;
    const int size = isRsa ? i2d_PublicKey(key, &der) : i2d_PUBKEY(key, &der);
    made.publicDer = QByteArray(reinterpret_cast<const char*>(der), size);
    OPENSSL_free(der);
    if (isRsa) {
        BIGNUM* modulus = nullptr;
        EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_N, &modulus);
        made.modulus.resize(BN_num_bytes(modulus));
        BN_bn2bin(modulus, out(made.modulus));
        BN_free(modulus);
    }
    EVP_PKEY_free(key);
    return made;
}

const KitKey& kitKeyOf(KitKind kind) {
    static std::map<KitKind, KitKey> keys;
    const auto known = keys.find(kind);
    return known != keys.end() ? known->second : keys.emplace(kind, kitMakeKey(kind)).first->second;
}

QByteArray kitSignature(KitKind kind, const QByteArray& message, KitPadding padding) {
    EVP_PKEY* const key = readPrivate(kitKeyOf(kind).privatePem);
    EVP_MD_CTX* const context = EVP_MD_CTX_new();
    EVP_PKEY_CTX* settings = nullptr;
    EVP_DigestSignInit(context, &settings, kind == KitKind::ed25519 ? nullptr : EVP_sha256(), nullptr, key);
    if (EVP_PKEY_get_base_id(key) == EVP_PKEY_RSA) {
        const bool isPss = padding != KitPadding::pkcs1;
        EVP_PKEY_CTX_set_rsa_padding(settings, isPss ? RSA_PKCS1_PSS_PADDING : RSA_PKCS1_PADDING);
        if (isPss) {
            EVP_PKEY_CTX_set_rsa_pss_saltlen(settings,
                                             padding == KitPadding::pss ? RSA_PSS_SALTLEN_DIGEST : RSA_PSS_SALTLEN_MAX);
        }
    }
    const auto* const bytes = reinterpret_cast<const unsigned char*>(message.constData());
    const auto length = static_cast<std::size_t>(message.size());
    std::size_t size = 0;
    EVP_DigestSign(context, nullptr, &size, bytes, length);
    QByteArray signature(static_cast<qsizetype>(size), '\0');
    EVP_DigestSign(context, out(signature), &size, bytes, length);
    signature.truncate(static_cast<qsizetype>(size));
    EVP_MD_CTX_free(context);
    EVP_PKEY_free(key);
    return signature;
}

QByteArray kitPersoSecret(const KitKey& own, const KitKey& other) {
    EVP_PKEY* const key = readPrivate(own.privatePem);
    EVP_PKEY* const peer = readPrivate(other.privatePem);
    EVP_PKEY_CTX* const context = EVP_PKEY_CTX_new(key, nullptr);
    QByteArray shared(32, '\0');
    std::size_t size = 32;
    EVP_PKEY_derive_init(context);
    EVP_PKEY_derive_set_peer(context, peer);
    EVP_PKEY_derive(context, out(shared), &size);
    EVP_PKEY_CTX_free(context);
    EVP_PKEY_free(peer);
    EVP_PKEY_free(key);
    return QCryptographicHash::hash(shared + QByteArray::fromHex("00000001"), QCryptographicHash::Sha256);
}

QByteArray kitWirelessBinary(QByteArray binary) {
    QByteArray size;
    appendU32(size, static_cast<std::uint32_t>(binary.size()));
    binary.replace(24, 4, size);
    return binary + kitSignature(KitKind::rsa2048, binary, KitPadding::pkcs1);
}

namespace {

QByteArray numbers(const QByteArray& bytes) {
    QByteArray text;
    for (const char byte : bytes) {
        text += QByteArray::number(static_cast<std::uint8_t>(byte)) + ',';
    }
    return text.chopped(1);
}

// R^2 mod n for R = 2^2048.
QByteArray montgomerySquare(const QByteArray& modulus) {
    BN_CTX* const context = BN_CTX_new();
    BIGNUM* const n = BN_bin2bn(reinterpret_cast<const unsigned char*>(modulus.constData()), 256, nullptr);
    BIGNUM* const result = BN_new();
    BN_one(result);
    for (int i = 0; i < 4096; ++i) {
        BN_mod_lshift1(result, result, n, context);
    }
    QByteArray bytes(256, '\0');
    BN_bn2binpad(result, out(bytes), 256);
    BN_free(result);
    BN_free(n);
    BN_CTX_free(context);
    return bytes;
}

}  // namespace

QByteArray kitWirelessKey(const QByteArray& form) {
    const KitKey& key = kitKeyOf(KitKind::rsa2048);
    const QByteArray modulus = numbers(key.modulus);
    const QByteArray r2 = numbers(montgomerySquare(key.modulus));
    if (form == "c") {
        return "#include \"tarnwave_x_device.h\"\n\nconst uint8_t modulus[] = {" + modulus +
               "};\n\nconst uint8_t r2[] = {" + r2 + "};\n\nconst uint8_t exponent[] = {0x00, 0x01, 0x00, 0x01};\n";
    }
    if (form == "py") {
        return "modulus = [" + modulus + "]\n\nr2 = [" + r2 + "]\n\nexponent = [0x00, 0x01, 0x00, 0x01]\n";
    }
    QByteArray lines;
    const QByteArray number = '\0' + key.modulus;
    for (qsizetype at = 0; at < number.size(); at += 15) {
        lines += (at == 0 ? "" : ":\n") + QByteArray("    ") + number.mid(at, 15).toHex(':');
    }
    return "Public-Key: (2048 bit)\nModulus:\n" + lines + "\nExponent: 65537 (0x10001)\n" + key.publicPem;
}

namespace {

QByteArray block(std::uint16_t magic, const std::vector<KitTlv>& tlvs, std::optional<std::uint16_t> size = {}) {
    QByteArray entries;
    for (const KitTlv& tlv : tlvs) {
        appendU16(entries, tlv.type);
        appendU16(entries, static_cast<std::uint16_t>(tlv.value.size()));
        entries += tlv.value;
    }
    QByteArray bytes;
    appendU16(bytes, magic);
    appendU16(bytes, size.value_or(static_cast<std::uint16_t>(4 + entries.size())));
    return bytes + entries;
}

std::uint16_t signatureType(KitKind kind) {
    constexpr std::uint16_t types[] = {0x20, 0x23, 0x22, 0x24};
    return types[static_cast<int>(kind)];
}

}  // namespace

QByteArray kitMake(const KitMcuboot& image) {
    const QByteArray protectedTlvs = image.protectedTlvs.empty() ? QByteArray() : block(0x6908, image.protectedTlvs);
    QByteArray bytes;
    appendU32(bytes, image.magic);
    appendU32(bytes, 0x08010000);
    appendU16(bytes, image.headerSize);
    appendU16(bytes, image.protectedSize.value_or(static_cast<std::uint16_t>(protectedTlvs.size())));
    appendU32(bytes, static_cast<std::uint32_t>(image.code.size()));
    appendU32(bytes, image.flags);
    bytes += QByteArray::fromHex("0102030004000000");
    bytes.resize(std::max<qsizetype>(image.headerSize, 32));
    std::fill(bytes.begin() + 28, bytes.end(), '\0');
    bytes += image.code + protectedTlvs;
    const QByteArray digest = QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
    std::vector<KitTlv> tlvs = {{0x10, image.otherDigest.isNull() ? digest : image.otherDigest}};
    if (image.signer) {
        const bool isDigestSigned = *image.signer == KitKind::ed25519 && !image.isPure;
        tlvs.push_back({0x01, QCryptographicHash::hash(kitKeyOf(*image.signer).publicDer, QCryptographicHash::Sha256)});
        tlvs.push_back({signatureType(*image.signer),
                        kitSignature(*image.signer, isDigestSigned ? digest : bytes, image.padding)});
    }
    tlvs.insert(tlvs.end(), image.moreTlvs.begin(), image.moreTlvs.end());
    return bytes + block(image.plainMagic, tlvs);
}
