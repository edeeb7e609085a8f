#include "inspect/mcubootCipher.h"

#include "files/wipe.h"
#include "inspect/PublicKey.h"
#include "inspect/cipher.h"
#include "inspect/opensslObjects.h"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/hmac.h>
#include <openssl/kdf.h>
#include <openssl/rsa.h>

#include <limits>

namespace inspect {

namespace {

using Key = Owned<EVP_PKEY, EVP_PKEY_free>;
using KeyContext = Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;

bool isOfKind(const Key& key, int kind) {
    return key != nullptr && EVP_PKEY_get_base_id(key.get()) == kind;
}

Unwrapped unwrapRsa(QByteArrayView wrapped, qsizetype keySize, QByteArrayView privatePem, QByteArray& key) {
    const Key own = readPem<PEM_read_bio_PrivateKey>(privatePem);
    if (!isOfKind(own, EVP_PKEY_RSA)) {
        return Unwrapped::wrongKind;
    }
    const KeyContext context(EVP_PKEY_CTX_new(own.get(), nullptr));
    if (context == nullptr || EVP_PKEY_decrypt_init(context.get()) != 1 ||
        EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_OAEP_PADDING) != 1 ||
        EVP_PKEY_CTX_set_rsa_oaep_md(context.get(), EVP_sha256()) != 1 ||
        EVP_PKEY_CTX_set_rsa_mgf1_md(context.get(), EVP_sha256()) != 1) {
        return Unwrapped::notOffered;
    }
    QByteArray plain(EVP_PKEY_get_size(own.get()), '\0');
    const WipeOnExit wiped(plain);
    auto size = static_cast<std::size_t>(plain.size());
    if (EVP_PKEY_decrypt(context.get(), outOf(plain), &size, bytesOf(wrapped),
                         static_cast<std::size_t>(wrapped.size())) != 1 ||
        size != static_cast<std::size_t>(keySize)) {
        return Unwrapped::bad;
    }
    key = QByteArray(plain.constData(), keySize);
    return Unwrapped::good;
}

/// The shared secret of X25519; empty if `own` is no such key, or the peer's point is of small order.
QByteArray agreeX25519(const Key& own, QByteArrayView point) {
    const Key peer(
        EVP_PKEY_new_raw_public_key(EVP_PKEY_X25519, nullptr, bytesOf(point), static_cast<std::size_t>(point.size())));
    const KeyContext context(EVP_PKEY_CTX_new(own.get(), nullptr));
    QByteArray shared(32, '\0');
    auto size = static_cast<std::size_t>(shared.size());
    const bool isDone = peer != nullptr && context != nullptr && EVP_PKEY_derive_init(context.get()) == 1 &&
                        EVP_PKEY_derive_set_peer(context.get(), peer.get()) == 1 &&
                        EVP_PKEY_derive(context.get(), outOf(shared), &size) == 1;
    return isDone ? shared : QByteArray();
}

/// HKDF (RFC 5869) without a salt.
QByteArray derive(QByteArrayView secret, const char* digest, qsizetype size) {
    QByteArray info = QByteArrayLiteral("MCUBoot_ECIES_v1");
    QByteArray digestName(digest);
    QByteArray input(secret.data(), secret.size());
    const WipeOnExit wiped(input);
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digestName.data(), 0),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_KEY, input.data(), static_cast<std::size_t>(input.size())),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_INFO, info.data(), static_cast<std::size_t>(info.size())),
        OSSL_PARAM_construct_end()};
    const Owned<EVP_KDF, EVP_KDF_free> kdf(EVP_KDF_fetch(nullptr, "HKDF", nullptr));
    const Owned<EVP_KDF_CTX, EVP_KDF_CTX_free> context(EVP_KDF_CTX_new(kdf.get()));
    QByteArray derived(size, '\0');
    const bool isDone = context != nullptr &&
                        EVP_KDF_derive(context.get(), outOf(derived), static_cast<std::size_t>(size), parameters) == 1;
    return isDone ? derived : QByteArray();
}

Unwrapped unwrapEcies(KeyWrap wrap, QByteArrayView wrapped, qsizetype keySize, QByteArrayView privatePem,
                      QByteArray& key) {
    const bool isP256 = wrap == KeyWrap::p256;
    const bool isSha512 = wrap == KeyWrap::x25519Sha512;
    const qsizetype pointSize = isP256 ? 65 : 32;
    const qsizetype macSize = isSha512 ? 64 : 32;
    const Key own = readPem<PEM_read_bio_PrivateKey>(privatePem);
    if (!isOfKind(own, isP256 ? EVP_PKEY_EC : EVP_PKEY_X25519)) {
        return Unwrapped::wrongKind;
    }
    if (wrapped.size() != pointSize + macSize + keySize || (isP256 && wrapped.at(0) != '\x04')) {
        return Unwrapped::bad;
    }
    QByteArray shared = isP256 ? PublicKey(wrapped.sliced(1, pointSize - 1)).agree(privatePem)
                               : agreeX25519(own, wrapped.first(pointSize));
    const WipeOnExit wipedShared(shared);
    if (shared.isEmpty()) {
        return Unwrapped::bad;
    }
    QByteArray derived = derive(shared, isSha512 ? "SHA512" : "SHA256", keySize + macSize);
    const WipeOnExit wipedDerived(derived);
    if (derived.isEmpty()) {
        return Unwrapped::notOffered;
    }
    const QByteArrayView mac = wrapped.sliced(pointSize, macSize);
    const QByteArrayView sealed = wrapped.last(keySize);
    // Older signers wrap a key of 32 bytes with AES-128, too.
    for (const qsizetype wrapSize : {keySize, qsizetype{16}}) {
        QByteArray expected(macSize, '\0');
        const bool isMade =
            HMAC(isSha512 ? EVP_sha512() : EVP_sha256(), derived.constData() + wrapSize, static_cast<int>(macSize),
                 bytesOf(sealed), static_cast<std::size_t>(keySize), outOf(expected), nullptr) != nullptr;
        if (isMade && sameBytes(expected, mac)) {
            key = decryptCode(QByteArrayView(derived).first(wrapSize), sealed);
            return key.isEmpty() ? Unwrapped::notOffered : Unwrapped::good;
        }
    }
    return Unwrapped::bad;
}

}  // namespace

Unwrapped unwrapKey(KeyWrap wrap, QByteArrayView wrapped, qsizetype keySize, QByteArrayView privatePem,
                    QByteArray& key) {
    const Unwrapped result = wrap == KeyWrap::rsa ? unwrapRsa(wrapped, keySize, privatePem, key)
                                                  : unwrapEcies(wrap, wrapped, keySize, privatePem, key);
    ERR_clear_error();
    return result;
}

QByteArray decryptCode(QByteArrayView key, QByteArrayView code) {
    constexpr unsigned char counter[16] = {};
    constexpr qsizetype step = std::numeric_limits<int>::max() / 2 + 1;
    const Owned<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free> context(EVP_CIPHER_CTX_new());
    const EVP_CIPHER* const cipher = key.size() == 32 ? EVP_aes_256_ctr() : EVP_aes_128_ctr();
    QByteArray plain(code.size(), Qt::Uninitialized);
    bool isDone = context != nullptr && EVP_DecryptInit_ex(context.get(), cipher, nullptr, bytesOf(key), counter) == 1;
    for (qsizetype at = 0; isDone && at < code.size(); at += step) {
        int written = 0;
        isDone = EVP_DecryptUpdate(context.get(), outOf(plain) + at, &written, bytesOf(code.sliced(at)),
                                   static_cast<int>(std::min(step, code.size() - at))) == 1;
    }
    return isDone ? plain : QByteArray();
}

}  // namespace inspect
