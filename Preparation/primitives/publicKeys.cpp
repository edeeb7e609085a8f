#include "Preparation/primitives/publicKeys.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/obj_mac.h>
#include <openssl/objects.h>
#include <openssl/param_build.h>

#include <array>

namespace {

constexpr qsizetype maxPoint = 65;
constexpr qsizetype maxModulus = 2048;  // bytes; OpenSSL verifies with no larger one
constexpr qsizetype maxExponent = 8;

struct ParametersRelease {
    void operator()(OSSL_PARAM* parameters) const { OSSL_PARAM_free(parameters); }
    void operator()(OSSL_PARAM_BLD* builder) const { OSSL_PARAM_BLD_free(builder); }
};
using Parameters = std::unique_ptr<OSSL_PARAM, ParametersRelease>;
using Builder = std::unique_ptr<OSSL_PARAM_BLD, ParametersRelease>;

KeyPointer publicKeyFrom(const char* algorithm, OSSL_PARAM* parameters) {
    const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, algorithm, nullptr));
    EVP_PKEY* made = nullptr;
    if (!context || parameters == nullptr || EVP_PKEY_fromdata_init(context.get()) != 1 ||
        EVP_PKEY_fromdata(context.get(), &made, EVP_PKEY_PUBLIC_KEY, parameters) != 1) {
        ERR_clear_error();
        return nullptr;
    }
    KeyPointer key(made);
    return isValidPublicKey(key.get()) ? std::move(key) : nullptr;
}

bool check(evp_pkey_st* pkey, int (*function)(EVP_PKEY_CTX*)) {
    const KeyContext context = makeKeyContext(pkey);
    const bool isValid = context && function(context.get()) == 1;
    ERR_clear_error();
    return isValid;
}

}  // namespace

KeyTraits traitsOf(const evp_pkey_st* pkey) {
    if (pkey == nullptr) {
        return {};
    }
    if (EVP_PKEY_is_a(pkey, "RSA") == 1) {
        return {KeyTraits::Kind::rsa, EVP_PKEY_get_bits(pkey)};
    }
    std::array<char, 64> curve{};
    const bool isP256 = EVP_PKEY_is_a(pkey, "EC") == 1 &&
                        EVP_PKEY_get_group_name(pkey, curve.data(), curve.size(), nullptr) == 1 &&
                        OBJ_txt2nid(curve.data()) == NID_X9_62_prime256v1;
    ERR_clear_error();
    return {isP256 ? KeyTraits::Kind::p256 : KeyTraits::Kind::other, EVP_PKEY_get_bits(pkey)};
}

bool isValidPrivateKey(evp_pkey_st* pkey) {
    return check(pkey, EVP_PKEY_check);
}

bool isValidPublicKey(evp_pkey_st* pkey) {
    return check(pkey, EVP_PKEY_public_check);
}

KeyPointer p256FromPoint(QByteArrayView point) {
    if (point.isEmpty() || point.size() > maxPoint) {
        return nullptr;
    }
    const Builder builder(OSSL_PARAM_BLD_new());
    if (!builder ||
        OSSL_PARAM_BLD_push_utf8_string(builder.get(), OSSL_PKEY_PARAM_GROUP_NAME, SN_X9_62_prime256v1, 0) != 1 ||
        OSSL_PARAM_BLD_push_octet_string(builder.get(), OSSL_PKEY_PARAM_PUB_KEY, point.data(), unsignedSize(point)) !=
            1) {
        return nullptr;
    }
    const Parameters parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    return publicKeyFrom("EC", parameters.get());
}

KeyPointer rsaFromNumbers(QByteArrayView modulus, QByteArrayView exponent) {
    if (modulus.isEmpty() || modulus.size() > maxModulus || exponent.isEmpty() || exponent.size() > maxExponent) {
        return nullptr;
    }
    const NumberPointer n(BN_bin2bn(unsignedBytes(modulus), static_cast<int>(modulus.size()), nullptr));
    const NumberPointer e(BN_bin2bn(unsignedBytes(exponent), static_cast<int>(exponent.size()), nullptr));
    const Builder builder(OSSL_PARAM_BLD_new());
    if (!n || !e || !builder || OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, n.get()) != 1 ||
        OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, e.get()) != 1) {
        return nullptr;
    }
    const Parameters parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    return publicKeyFrom("RSA", parameters.get());
}

bool isSamePublicKey(const evp_pkey_st* one, const evp_pkey_st* other) {
    const bool isSame = one != nullptr && other != nullptr && EVP_PKEY_eq(one, other) == 1;
    ERR_clear_error();
    return isSame;
}
