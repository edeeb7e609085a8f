#include "Preparation/primitives/x963Secret.h"

#include "Preparation/primitives/opensslObjects.h"

#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>

bool deriveX963Secret(evp_pkey_st* own, evp_pkey_st* peer, std::span<char> secret) {
    const KeyContext context = makeKeyContext(own);
    std::size_t size = secret.size();
    const bool derived = context && peer != nullptr && EVP_PKEY_derive_init(context.get()) == 1 &&
                         EVP_PKEY_CTX_set_ecdh_kdf_type(context.get(), EVP_PKEY_ECDH_KDF_X9_63) == 1 &&
                         EVP_PKEY_CTX_set_ecdh_kdf_md(context.get(), EVP_sha256()) == 1 &&
                         EVP_PKEY_CTX_set_ecdh_kdf_outlen(context.get(), static_cast<int>(secret.size())) == 1 &&
                         EVP_PKEY_derive_set_peer(context.get(), peer) == 1 &&
                         EVP_PKEY_derive(context.get(), reinterpret_cast<unsigned char*>(secret.data()), &size) == 1 &&
                         size == secret.size();
    if (!derived) {
        ERR_clear_error();
    }
    return derived;
}
