#include "Preparation/src/TarnwaveQuill/binarySignature.h"

#include "Preparation/primitives/opensslObjects.h"
#include "display/Display.h"

#include <openssl/rsa.h>

namespace {

constexpr int keyBits = 2048;

bool setPaddingAndHash(EVP_PKEY_CTX* context) {
    if (EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) != 1) {
        return reportError("RSA padding failed\n");
    }
    if (EVP_PKEY_CTX_set_signature_md(context, EVP_sha256()) != 1) {
        return reportError("Setting hash algo failed\n");
    }
    return true;
}

}  // namespace

bool signBinaryDigest(evp_pkey_st* pkey, QByteArrayView digest, char* signature) {
    const KeyContext context = makeKeyContext(pkey);
    if (!context) {
        return reportError("Creating signing context fails\n");
    }
    if (EVP_PKEY_sign_init(context.get()) != 1) {
        return reportError("Signing init failed\n");
    }
    if (!setPaddingAndHash(context.get())) {
        return false;
    }
    std::size_t size = 0;
    if (EVP_PKEY_get_bits(pkey) != keyBits ||
        EVP_PKEY_sign(context.get(), nullptr, &size, unsignedBytes(digest), unsignedSize(digest)) != 1 ||
        size != static_cast<std::size_t>(binarySignatureSize)) {
        return reportError("Determining signing buffer length failed\n");
    }
    if (digest.isNull()) {
        return reportError("Unvalid hash pointer \n");
    }
    auto* const bytes = reinterpret_cast<unsigned char*>(signature);
    if (EVP_PKEY_sign(context.get(), bytes, &size, unsignedBytes(digest), unsignedSize(digest)) != 1) {
        return reportError("Creating signature failed\n");
    }
    return EVP_PKEY_verify_init(context.get()) == 1 && setPaddingAndHash(context.get()) &&
           EVP_PKEY_verify(context.get(), bytes, size, unsignedBytes(digest), unsignedSize(digest)) == 1;
}
