#include "Preparation/primitives/missingAlgorithm.h"

#include "display/Display.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>

namespace {

template <typename Object>
bool release(Object* object, void (*free)(Object*)) {
    free(object);
    return object != nullptr;
}

const char* nameOf(Algorithm algorithm) {
    switch (algorithm) {
        case Algorithm::aes128Gcm:
            return "AES-128-GCM";
        case Algorithm::sha256:
            return "SHA-256";
        case Algorithm::ecdsa:
            return "ECDSA";
        case Algorithm::ecdh:
            return "ECDH";
        case Algorithm::x963:
            return "X963KDF";
    }
    return "";
}

bool isOffered(Algorithm algorithm) {
    const char* const name = nameOf(algorithm);
    switch (algorithm) {
        case Algorithm::aes128Gcm:
            return release(EVP_CIPHER_fetch(nullptr, name, nullptr), EVP_CIPHER_free);
        case Algorithm::sha256:
            return release(EVP_MD_fetch(nullptr, name, nullptr), EVP_MD_free);
        case Algorithm::ecdsa:
            return release(EVP_SIGNATURE_fetch(nullptr, name, nullptr), EVP_SIGNATURE_free);
        case Algorithm::ecdh:
            return release(EVP_KEYEXCH_fetch(nullptr, name, nullptr), EVP_KEYEXCH_free);
        case Algorithm::x963:
            return release(EVP_KDF_fetch(nullptr, name, nullptr), EVP_KDF_free);
    }
    return true;
}

}  // namespace

void reportMissing(std::initializer_list<Algorithm> algorithms) {
    for (const Algorithm algorithm : algorithms) {
        if (!isOffered(algorithm)) {
            reportError("OpenSSL doesn't offer %s as it is set up on this machine", nameOf(algorithm));
        }
    }
    ERR_clear_error();
}
