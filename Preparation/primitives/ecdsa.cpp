#include "Preparation/primitives/ecdsa.h"

#include "Preparation/primitives/opensslObjects.h"

#include <openssl/bn.h>
#include <openssl/ecdsa.h>
#include <openssl/err.h>
#include <openssl/evp.h>

namespace {

constexpr int numberSize = 32;
constexpr qsizetype rawSize = qsizetype{2} * numberSize;

}  // namespace

bool signEcdsa(evp_pkey_st* pkey, QByteArrayView digest, QByteArray& derSignature) {
    const KeyContext context = makeKeyContext(pkey);
    const int room = context ? EVP_PKEY_get_size(pkey) : 0;
    if (room <= 0) {
        return false;
    }
    QByteArray made(room, '\0');
    std::size_t size = unsignedSize(made);
    if (EVP_PKEY_sign_init(context.get()) != 1 ||
        EVP_PKEY_sign(context.get(), reinterpret_cast<unsigned char*>(made.data()), &size, unsignedBytes(digest),
                      unsignedSize(digest)) != 1) {
        ERR_clear_error();
        return false;
    }
    made.truncate(static_cast<qsizetype>(size));
    derSignature = made;
    return true;
}

EcdsaCheck verifyEcdsa(evp_pkey_st* pkey, QByteArrayView digest, QByteArrayView derSignature) {
    const KeyContext context = makeKeyContext(pkey);
    const int result = context && EVP_PKEY_verify_init(context.get()) == 1
                           ? EVP_PKEY_verify(context.get(), unsignedBytes(derSignature), unsignedSize(derSignature),
                                             unsignedBytes(digest), unsignedSize(digest))
                           : -1;
    if (result == 1) {
        return EcdsaCheck::holds;
    }
    ERR_clear_error();
    return result == 0 ? EcdsaCheck::doesNotHold : EcdsaCheck::failed;
}

bool toRawSignature(QByteArrayView derSignature, QByteArray& raw) {
    const unsigned char* in = unsignedBytes(derSignature);
    const OpensslPointer<ECDSA_SIG> signature(d2i_ECDSA_SIG(nullptr, &in, static_cast<long>(derSignature.size())));
    QByteArray made(rawSize, '\0');
    auto* const out = reinterpret_cast<unsigned char*>(made.data());
    if (!signature || BN_bn2binpad(ECDSA_SIG_get0_r(signature.get()), out, numberSize) != numberSize ||
        BN_bn2binpad(ECDSA_SIG_get0_s(signature.get()), out + numberSize, numberSize) != numberSize) {
        ERR_clear_error();
        return false;
    }
    raw = made;
    return true;
}

bool toDerSignature(QByteArrayView raw, QByteArray& derSignature) {
    if (raw.size() != rawSize) {
        return false;
    }
    const OpensslPointer<ECDSA_SIG> signature(ECDSA_SIG_new());
    NumberPointer r(BN_bin2bn(unsignedBytes(raw), numberSize, nullptr));
    NumberPointer s(BN_bin2bn(unsignedBytes(raw) + numberSize, numberSize, nullptr));
    if (!signature || !r || !s || ECDSA_SIG_set0(signature.get(), r.get(), s.get()) != 1) {
        return false;
    }
    static_cast<void>(r.release());  // the signature now owns both numbers
    static_cast<void>(s.release());
    const int size = i2d_ECDSA_SIG(signature.get(), nullptr);
    if (size <= 0) {
        return false;
    }
    QByteArray made(size, '\0');
    auto* out = reinterpret_cast<unsigned char*>(made.data());
    if (i2d_ECDSA_SIG(signature.get(), &out) != size) {
        return false;
    }
    derSignature = made;
    return true;
}
