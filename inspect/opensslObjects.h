#pragma once

#include <QByteArray>

#include <openssl/evp.h>
#include <openssl/pem.h>

#include <limits>
#include <memory>

/// Objects of OpenSSL that free themselves, and its views of bytes.
namespace inspect {

template <auto free>
struct Freeing {
    template <typename Object>
    void operator()(Object* object) const {
        free(object);
    }
};
template <typename Object, auto free>
using Owned = std::unique_ptr<Object, Freeing<free>>;

inline const unsigned char* bytesOf(QByteArrayView view) {
    return reinterpret_cast<const unsigned char*>(view.data());
}

inline unsigned char* outOf(QByteArray& bytes) {
    return reinterpret_cast<unsigned char*>(bytes.data());
}

/// Rejects a key with a passphrase, without asking the user for it.
inline int noPassphrase(char* /*buffer*/, int /*size*/, int /*isWriting*/, void* /*user*/) {
    return 0;
}

/// Reads a key in PEM form by `read`, which is PEM_read_bio_PUBKEY or PEM_read_bio_PrivateKey. Null if it is none.
template <auto read>
Owned<EVP_PKEY, EVP_PKEY_free> readPem(QByteArrayView pem) {
    if (pem.size() > std::numeric_limits<int>::max()) {
        return nullptr;
    }
    const Owned<BIO, BIO_free> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    return Owned<EVP_PKEY, EVP_PKEY_free>(bio != nullptr ? read(bio.get(), nullptr, noPassphrase, nullptr) : nullptr);
}

}  // namespace inspect
