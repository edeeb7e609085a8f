#include "Preparation/primitives/rsaSignature.h"

#include "Preparation/primitives/opensslObjects.h"

#include <openssl/evp.h>
#include <openssl/rsa.h>

namespace {

// Prepares the context for PKCS #1 v1.5 over a SHA-256 digest.
RsaStep setPaddingAndHash(EVP_PKEY_CTX* context) {
    if (EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) != 1) {
        return RsaStep::padding;
    }
    return EVP_PKEY_CTX_set_signature_md(context, EVP_sha256()) == 1 ? RsaStep::done : RsaStep::hash;
}

}  // namespace

RsaStep signRsa(evp_pkey_st* pkey, QByteArrayView digest, int keyBits, QByteArray& signature) {
    const KeyContext context = makeKeyContext(pkey);
    if (!context) {
        return RsaStep::context;
    }
    if (EVP_PKEY_sign_init(context.get()) != 1) {
        return RsaStep::start;
    }
    const RsaStep step = setPaddingAndHash(context.get());
    if (step != RsaStep::done) {
        return step;
    }
    std::size_t size = 0;
    if ((keyBits != 0 && EVP_PKEY_get_bits(pkey) != keyBits) ||
        EVP_PKEY_sign(context.get(), nullptr, &size, unsignedBytes(digest), unsignedSize(digest)) != 1) {
        return RsaStep::size;
    }
    if (digest.isNull()) {
        return RsaStep::digest;
    }
    QByteArray made(static_cast<qsizetype>(size), '\0');
    if (EVP_PKEY_sign(context.get(), reinterpret_cast<unsigned char*>(made.data()), &size, unsignedBytes(digest),
                      unsignedSize(digest)) != 1) {
        return RsaStep::sign;
    }
    made.truncate(static_cast<qsizetype>(size));
    signature = made;
    return RsaStep::done;
}

RsaStep verifyRsa(evp_pkey_st* pkey, QByteArrayView digest, QByteArrayView signature) {
    const KeyContext context = makeKeyContext(pkey);
    if (!context || EVP_PKEY_verify_init(context.get()) != 1) {
        return RsaStep::verify;
    }
    const RsaStep step = setPaddingAndHash(context.get());
    if (step != RsaStep::done) {
        return step;
    }
    return EVP_PKEY_verify(context.get(), unsignedBytes(signature), unsignedSize(signature), unsignedBytes(digest),
                           unsignedSize(digest)) == 1
               ? RsaStep::done
               : RsaStep::verify;
}
