#include "Preparation/primitives/opensslObjects.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/crypto.h>
#include <openssl/ec.h>
#include <openssl/evp.h>

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

void* takeMemory(std::size_t size, const char* /*file*/, int /*line*/) {
    return std::malloc(size);
}

void giveMemory(void* memory, const char* /*file*/, int /*line*/) {
    if (memory != nullptr) {
        explicit_bzero(memory, malloc_usable_size(memory));
        std::free(memory);
    }
}

// Always allocates new memory and wipes the old, because realloc would leave a copy when it moves the bytes.
void* moveMemory(void* memory, std::size_t size, const char* file, int line) {
    void* const taken = size == 0 ? nullptr : std::malloc(size);
    if (memory != nullptr && (taken != nullptr || size == 0)) {
        if (taken != nullptr) {
            std::memcpy(taken, memory, std::min(size, malloc_usable_size(memory)));
        }
        giveMemory(memory, file, line);
    }
    return taken;
}

}  // namespace

void OpensslRelease::operator()(bignum_ctx* context) const {
    BN_CTX_free(context);
}

void OpensslRelease::operator()(bignum_st* number) const {
    BN_clear_free(number);
}

void OpensslRelease::operator()(bio_st* bio) const {
    BIO_free_all(bio);
}

void OpensslRelease::operator()(ec_group_st* group) const {
    EC_GROUP_free(group);
}

void OpensslRelease::operator()(ec_point_st* point) const {
    EC_POINT_free(point);
}

void OpensslRelease::operator()(ECDSA_SIG_st* signature) const {
    ECDSA_SIG_free(signature);
}

void OpensslRelease::operator()(evp_cipher_ctx_st* context) const {
    EVP_CIPHER_CTX_free(context);  // also wipes the key schedule
}

void OpensslRelease::operator()(evp_cipher_st* cipher) const {
    EVP_CIPHER_free(cipher);
}

void OpensslRelease::operator()(evp_md_ctx_st* context) const {
    EVP_MD_CTX_free(context);
}

void OpensslRelease::operator()(evp_pkey_ctx_st* context) const {
    EVP_PKEY_CTX_free(context);
}

void OpensslRelease::operator()(evp_pkey_st* key) const {
    EVP_PKEY_free(key);
}

void wipeFreedOpensslMemory() {
    static_cast<void>(CRYPTO_set_mem_functions(takeMemory, moveMemory, giveMemory));
}

BioPointer makeMemoryBio() {
    return BioPointer(BIO_new(BIO_s_mem()));
}

QByteArrayView contentOf(bio_st* bio) {
    char* start = nullptr;
    const long size = BIO_get_mem_data(bio, &start);
    return size > 0 ? QByteArrayView(start, size) : QByteArrayView();
}

KeyContext makeKeyContext(evp_pkey_st* pkey) {
    return KeyContext(pkey == nullptr ? nullptr : EVP_PKEY_CTX_new_from_pkey(nullptr, pkey, nullptr));
}
