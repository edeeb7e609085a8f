#include "inspect/PublicKey.h"

#include "inspect/opensslObjects.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ecdsa.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

namespace inspect {

namespace {

constexpr qsizetype coordinateSize = 32;

// Rejects a point that isn't on the curve.
EVP_PKEY* readPoint(QByteArrayView file) {
    QByteArray point = '\x04' + file.toByteArray();
    QByteArray group = QByteArrayLiteral("prime256v1");
    OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, group.data(), 0),
                               OSSL_PARAM_construct_octet_string(OSSL_PKEY_PARAM_PUB_KEY, point.data(),
                                                                 static_cast<std::size_t>(point.size())),
                               OSSL_PARAM_construct_end()};
    const Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free> context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
    EVP_PKEY* key = nullptr;
    if (context == nullptr || EVP_PKEY_fromdata_init(context.get()) != 1 ||
        EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, parameters) != 1) {
        return nullptr;
    }
    return key;
}

EVP_PKEY* makeRsa(QByteArrayView modulus, std::uint32_t exponent) {
    const Owned<BIGNUM, BN_free> number(BN_bin2bn(bytesOf(modulus), static_cast<int>(modulus.size()), nullptr));
    const Owned<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free> builder(OSSL_PARAM_BLD_new());
    if (number == nullptr || builder == nullptr ||
        OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, number.get()) != 1 ||
        OSSL_PARAM_BLD_push_uint32(builder.get(), OSSL_PKEY_PARAM_RSA_E, exponent) != 1) {
        return nullptr;
    }
    const Owned<OSSL_PARAM, OSSL_PARAM_free> parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    const Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free> context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    EVP_PKEY* key = nullptr;
    if (parameters == nullptr || context == nullptr || EVP_PKEY_fromdata_init(context.get()) != 1 ||
        EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, parameters.get()) != 1) {
        return nullptr;
    }
    return key;
}

PublicKey::Kind kindOf(const EVP_PKEY* key) {
    switch (EVP_PKEY_get_base_id(key)) {
        case EVP_PKEY_RSA:
            return PublicKey::Kind::rsa;
        case EVP_PKEY_ED25519:
            return PublicKey::Kind::ed25519;
        case EVP_PKEY_EC: {
            char group[32] = {};
            const bool isNamed = EVP_PKEY_get_group_name(key, group, sizeof group, nullptr) == 1;
            return isNamed && qstrcmp(group, "prime256v1") == 0  ? PublicKey::Kind::p256
                   : isNamed && qstrcmp(group, "secp384r1") == 0 ? PublicKey::Kind::p384
                                                                 : PublicKey::Kind::other;
        }
        default:
            return PublicKey::Kind::other;
    }
}

/// Verifies a signature over a digest of the pieces; `padding` is 0 for every kind of key except RSA.
CheckResult verify(EVP_PKEY* key, const EVP_MD* digest, int padding, std::initializer_list<QByteArrayView> pieces,
                   QByteArrayView signature) {
    const Owned<EVP_MD_CTX, EVP_MD_CTX_free> context(EVP_MD_CTX_new());
    EVP_PKEY_CTX* settings = nullptr;
    if (context == nullptr || EVP_DigestVerifyInit(context.get(), &settings, digest, nullptr, key) != 1 ||
        (padding != 0 && EVP_PKEY_CTX_set_rsa_padding(settings, padding) != 1) ||
        (padding == RSA_PKCS1_PSS_PADDING && EVP_PKEY_CTX_set_rsa_pss_saltlen(settings, RSA_PSS_SALTLEN_DIGEST) != 1)) {
        ERR_clear_error();
        return CheckResult::unchecked;
    }
    for (const QByteArrayView piece : pieces) {
        if (EVP_DigestVerifyUpdate(context.get(), piece.data(), static_cast<std::size_t>(piece.size())) != 1) {
            return CheckResult::unchecked;
        }
    }
    const bool isGood =
        EVP_DigestVerifyFinal(context.get(), bytesOf(signature), static_cast<std::size_t>(signature.size())) == 1;
    ERR_clear_error();
    return isGood ? CheckResult::good : CheckResult::bad;
}

}  // namespace

void PublicKey::Free::operator()(evp_pkey_st* key) const {
    EVP_PKEY_free(key);
}

PublicKey::PublicKey(QByteArrayView file)
    : key_(file.size() == 2 * coordinateSize ? readPoint(file) : readPem<PEM_read_bio_PUBKEY>(file).release()) {
    kind_ = key_ != nullptr ? kindOf(key_.get()) : Kind::none;
    ERR_clear_error();
}

int PublicKey::bits() const {
    return key_ != nullptr ? EVP_PKEY_get_bits(key_.get()) : 0;
}

QByteArray PublicKey::der() const {
    unsigned char* bytes = nullptr;
    const int size = key_ != nullptr ? i2d_PUBKEY(key_.get(), &bytes) : 0;
    const Owned<unsigned char, [](unsigned char* owned) { OPENSSL_free(owned); }> owned(bytes);
    return size > 0 ? QByteArray(reinterpret_cast<const char*>(bytes), size) : QByteArray();
}

QByteArray PublicKey::modulus() const {
    BIGNUM* number = nullptr;
    if (kind_ != Kind::rsa || EVP_PKEY_get_bn_param(key_.get(), OSSL_PKEY_PARAM_RSA_N, &number) != 1) {
        return {};
    }
    const Owned<BIGNUM, BN_free> owned(number);
    QByteArray bytes(BN_num_bytes(number), '\0');
    BN_bn2bin(number, reinterpret_cast<unsigned char*>(bytes.data()));
    return bytes;
}

PublicKey PublicKey::fromModulus(QByteArrayView modulus, std::uint32_t exponent) {
    PublicKey key({});
    key.key_.reset(makeRsa(modulus, exponent));
    key.kind_ = key.key_ != nullptr ? Kind::rsa : Kind::none;
    ERR_clear_error();
    return key;
}

QByteArray PublicKey::montgomerySquare() const {
    constexpr int exponentOfTwo = 2 * 2048;
    const QByteArray bytes = modulus();
    const Owned<BIGNUM, BN_free> number(BN_bin2bn(bytesOf(bytes), static_cast<int>(bytes.size()), nullptr));
    const Owned<BIGNUM, BN_free> square(BN_new());
    const Owned<BN_CTX, BN_CTX_free> context(BN_CTX_new());
    QByteArray result(bytes.size(), '\0');
    if (number == nullptr || square == nullptr || context == nullptr || BN_is_zero(number.get()) ||
        BN_set_bit(square.get(), exponentOfTwo) != 1 ||
        BN_mod(square.get(), square.get(), number.get(), context.get()) != 1 ||
        BN_bn2binpad(square.get(), reinterpret_cast<unsigned char*>(result.data()), static_cast<int>(result.size())) <
            0) {
        return {};
    }
    return result;
}

QByteArray PublicKey::pem() const {
    const Owned<BIO, BIO_free> bio(BIO_new(BIO_s_mem()));
    if (key_ == nullptr || bio == nullptr || PEM_write_bio_PUBKEY(bio.get(), key_.get()) != 1) {
        return {};
    }
    const char* bytes = nullptr;
    const auto size = BIO_get_mem_data(bio.get(), &bytes);
    return {bytes, static_cast<qsizetype>(size)};
}

QByteArray PublicKey::rsaDer() const {
    unsigned char* bytes = nullptr;
    const int size = kind_ == Kind::rsa ? i2d_PublicKey(key_.get(), &bytes) : 0;
    const Owned<unsigned char, [](unsigned char* owned) { OPENSSL_free(owned); }> owned(bytes);
    return size > 0 ? QByteArray(reinterpret_cast<const char*>(bytes), size) : QByteArray();
}

CheckResult PublicKey::verifyRsa(Padding padding, std::initializer_list<QByteArrayView> pieces,
                                 QByteArrayView signature) const {
    return kind_ != Kind::rsa
               ? CheckResult::bad
               : verify(key_.get(), EVP_sha256(), padding == Padding::pss ? RSA_PKCS1_PSS_PADDING : RSA_PKCS1_PADDING,
                        pieces, signature);
}

CheckResult PublicKey::verifyEcdsa(std::initializer_list<QByteArrayView> pieces, QByteArrayView r,
                                   QByteArrayView s) const {
    const Owned<ECDSA_SIG, ECDSA_SIG_free> pair(ECDSA_SIG_new());
    BIGNUM* const first = BN_bin2bn(bytesOf(r), static_cast<int>(r.size()), nullptr);
    BIGNUM* const second = BN_bin2bn(bytesOf(s), static_cast<int>(s.size()), nullptr);
    if (pair == nullptr || ECDSA_SIG_set0(pair.get(), first, second) != 1) {
        BN_free(first);
        BN_free(second);
        return CheckResult::unchecked;
    }
    unsigned char* bytes = nullptr;
    const int size = i2d_ECDSA_SIG(pair.get(), &bytes);
    const Owned<unsigned char, [](unsigned char* owned) { OPENSSL_free(owned); }> owned(bytes);
    if (size <= 0) {
        return CheckResult::unchecked;
    }
    return kind_ == Kind::p256 ? verifyEcdsa(pieces, QByteArrayView(bytes, size)) : CheckResult::bad;
}

CheckResult PublicKey::verifyEcdsa(std::initializer_list<QByteArrayView> pieces, QByteArrayView signature) const {
    const bool isP384 = kind_ == Kind::p384;
    return kind_ == Kind::p256 || isP384
               ? verify(key_.get(), isP384 ? EVP_sha384() : EVP_sha256(), 0, pieces, signature)
               : CheckResult::bad;
}

CheckResult PublicKey::verifyEd25519(QByteArrayView message, QByteArrayView signature) const {
    if (kind_ != Kind::ed25519) {
        return CheckResult::bad;
    }
    const Owned<EVP_MD_CTX, EVP_MD_CTX_free> context(EVP_MD_CTX_new());
    CheckResult result = CheckResult::unchecked;
    if (context != nullptr && EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key_.get()) == 1) {
        const bool isGood =
            EVP_DigestVerify(context.get(), bytesOf(signature), static_cast<std::size_t>(signature.size()),
                             bytesOf(message), static_cast<std::size_t>(message.size())) == 1;
        result = isGood ? CheckResult::good : CheckResult::bad;
    }
    ERR_clear_error();
    return result;
}

QByteArray PublicKey::agree(QByteArrayView privatePem) const {
    const auto own = readPem<PEM_read_bio_PrivateKey>(privatePem);
    const Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free> context(own != nullptr ? EVP_PKEY_CTX_new(own.get(), nullptr)
                                                                        : nullptr);
    QByteArray shared(coordinateSize, '\0');
    std::size_t size = coordinateSize;
    const bool isDone = kind_ == Kind::p256 && context != nullptr && kindOf(own.get()) == Kind::p256 &&
                        EVP_PKEY_derive_init(context.get()) == 1 &&
                        EVP_PKEY_derive_set_peer(context.get(), key_.get()) == 1 &&
                        EVP_PKEY_derive(context.get(), reinterpret_cast<unsigned char*>(shared.data()), &size) == 1 &&
                        size == coordinateSize;
    ERR_clear_error();
    return isDone ? shared : QByteArray();
}

Reason unusableReason() {
    for (const char* const name : {"EC", "RSA", "ED25519"}) {
        const Owned<EVP_KEYMGMT, EVP_KEYMGMT_free> kind(EVP_KEYMGMT_fetch(nullptr, name, nullptr));
        if (kind == nullptr) {
            ERR_clear_error();
            return Reason::notOffered;
        }
    }
    return Reason::unusableKey;
}

}  // namespace inspect
