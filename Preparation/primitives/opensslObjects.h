#pragma once

#include <QByteArrayView>

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>

#include <memory>

// OpenSSL's objects with their release. For sources only: no header of ours brings OpenSSL's along.

template <auto release>
struct OpensslRelease {
    template <typename Object>
    void operator()(Object* object) const {
        release(object);
    }
};

template <typename Object, auto release>
using OpensslPointer = std::unique_ptr<Object, OpensslRelease<release>>;

using BioPointer = OpensslPointer<BIO, BIO_free_all>;
using KeyContext = OpensslPointer<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using DigestContext = OpensslPointer<EVP_MD_CTX, EVP_MD_CTX_free>;
using NumberContext = OpensslPointer<BN_CTX, BN_CTX_free>;
using NumberPointer = OpensslPointer<BIGNUM, BN_clear_free>;

/// A growing buffer that wipes what it held.
inline BioPointer makeMemoryBio() {
    return BioPointer(BIO_new(BIO_s_mem()));
}

/// What a memory buffer holds; valid until it is written to or released.
inline QByteArrayView contentOf(BIO* bio) {
    char* start = nullptr;
    const long size = BIO_get_mem_data(bio, &start);
    return size > 0 ? QByteArrayView(start, size) : QByteArrayView();
}

/// A context of the key's own algorithm; null without a key.
inline KeyContext makeKeyContext(EVP_PKEY* pkey) {
    return KeyContext(pkey == nullptr ? nullptr : EVP_PKEY_CTX_new_from_pkey(nullptr, pkey, nullptr));
}

inline const unsigned char* unsignedBytes(QByteArrayView bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

inline std::size_t unsignedSize(QByteArrayView bytes) {
    return static_cast<std::size_t>(bytes.size());
}
