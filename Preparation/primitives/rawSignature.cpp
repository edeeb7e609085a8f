#include "Preparation/primitives/rawSignature.h"

#include "Preparation/primitives/opensslObjects.h"

#include <openssl/ecdsa.h>

namespace {

constexpr int numberSize = 32;
constexpr qsizetype rawSize = qsizetype{2} * numberSize;

using EcdsaSignature = OpensslPointer<ECDSA_SIG, ECDSA_SIG_free>;

}  // namespace

bool toRawSignature(QByteArrayView derSignature, QByteArray& raw) {
    const unsigned char* in = unsignedBytes(derSignature);
    const EcdsaSignature signature(d2i_ECDSA_SIG(nullptr, &in, static_cast<long>(derSignature.size())));
    QByteArray made(rawSize, '\0');
    auto* const out = reinterpret_cast<unsigned char*>(made.data());
    if (!signature || BN_bn2binpad(ECDSA_SIG_get0_r(signature.get()), out, numberSize) != numberSize ||
        BN_bn2binpad(ECDSA_SIG_get0_s(signature.get()), out + numberSize, numberSize) != numberSize) {
        return false;
    }
    raw = made;
    return true;
}

bool toDerSignature(QByteArrayView raw, QByteArray& derSignature) {
    if (raw.size() != rawSize) {
        return false;
    }
    const EcdsaSignature signature(ECDSA_SIG_new());
    NumberPointer r(BN_bin2bn(unsignedBytes(raw), numberSize, nullptr));
    NumberPointer s(BN_bin2bn(unsignedBytes(raw) + numberSize, numberSize, nullptr));
    if (!signature || !r || !s || ECDSA_SIG_set0(signature.get(), r.get(), s.get()) != 1) {
        return false;
    }
    static_cast<void>(r.release());  // the signature owns both now
    static_cast<void>(s.release());
    unsigned char* encoded = nullptr;
    const int size = i2d_ECDSA_SIG(signature.get(), &encoded);
    if (size <= 0) {
        return false;
    }
    derSignature = QByteArray(reinterpret_cast<const char*>(encoded), size);
    OPENSSL_free(encoded);
    return true;
}
