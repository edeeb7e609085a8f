#pragma once

#include <QByteArrayView>

#include <memory>

// Owning pointers to OpenSSL's objects, without OpenSSL's headers.

struct bignum_ctx;
struct bignum_st;
struct bio_st;
struct ec_group_st;
struct ec_point_st;
struct ECDSA_SIG_st;
struct evp_cipher_ctx_st;
struct evp_cipher_st;
struct evp_md_ctx_st;
struct evp_pkey_ctx_st;
struct evp_pkey_st;

/// Wipes an object that may be secret, then frees it. Other objects are only freed.
struct OpensslRelease {
    void operator()(bignum_ctx* context) const;
    void operator()(bignum_st* number) const;
    void operator()(bio_st* bio) const;
    void operator()(ec_group_st* group) const;
    void operator()(ec_point_st* point) const;
    void operator()(ECDSA_SIG_st* signature) const;
    void operator()(evp_cipher_ctx_st* context) const;
    void operator()(evp_cipher_st* cipher) const;
    void operator()(evp_md_ctx_st* context) const;
    void operator()(evp_pkey_ctx_st* context) const;
    void operator()(evp_pkey_st* key) const;
};

template <typename Object>
using OpensslPointer = std::unique_ptr<Object, OpensslRelease>;

using BioPointer = OpensslPointer<bio_st>;
using DigestContext = OpensslPointer<evp_md_ctx_st>;
using KeyContext = OpensslPointer<evp_pkey_ctx_st>;
using NumberContext = OpensslPointer<bignum_ctx>;
using NumberPointer = OpensslPointer<bignum_st>;

/// An RSA or elliptic-curve key, private or public.
using KeyPointer = OpensslPointer<evp_pkey_st>;

/// Makes OpenSSL wipe all memory that it frees, because its key readers leave copies of keys there. Has no effect if
/// OpenSSL has already allocated memory.
void wipeFreedOpensslMemory();

/// A growing memory buffer.
[[nodiscard]] BioPointer makeMemoryBio();

/// The content of a memory buffer; valid until the buffer is written to or released.
[[nodiscard]] QByteArrayView contentOf(bio_st* bio);

/// A context for the key's algorithm; null if `pkey` is null.
[[nodiscard]] KeyContext makeKeyContext(evp_pkey_st* pkey);

inline const unsigned char* unsignedBytes(QByteArrayView bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

inline std::size_t unsignedSize(QByteArrayView bytes) {
    return static_cast<std::size_t>(bytes.size());
}
