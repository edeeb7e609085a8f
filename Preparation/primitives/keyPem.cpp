#include "Preparation/primitives/keyPem.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstring>

namespace {

// Much larger than any key, and small enough for OpenSSL's int sizes.
constexpr qsizetype maxPemSize = qsizetype{1} << 20;

struct Passphrase {
    QByteArrayView given;
    bool wanted = false;  // whether OpenSSL requested a passphrase although none was given
};

// Replaces OpenSSL's own callback, which prompts at the terminal.
int givePassphrase(char* buffer, int size, int /*writing*/, void* passphrase) {
    auto& answer = *static_cast<Passphrase*>(passphrase);
    if (answer.given.isNull() || answer.given.size() > size) {
        answer.wanted = answer.given.isNull();
        return -1;
    }
    std::memcpy(buffer, answer.given.data(), unsignedSize(answer.given));
    return static_cast<int>(answer.given.size());
}

using PemReader = EVP_PKEY* (*)(BIO*, EVP_PKEY**, pem_password_cb*, void*);

KeyPointer keyFromPem(QByteArrayView pem, QByteArrayView given, bool* passphraseWanted, PemReader read) {
    if (pem.isEmpty() || pem.size() > maxPemSize) {
        return nullptr;
    }
    Passphrase passphrase{given};
    const BioPointer bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    KeyPointer key(bio ? read(bio.get(), nullptr, givePassphrase, &passphrase) : nullptr);
    if (!key) {
        ERR_clear_error();
        if (passphraseWanted != nullptr) {
            *passphraseWanted = passphrase.wanted;
        }
    }
    return key;
}

// Runs one of OpenSSL's writers with a memory buffer as its output.
template <typename Writer>
bool writeKey(const evp_pkey_st* pkey, QByteArray& result, Writer write) {
    const BioPointer bio = makeMemoryBio();
    if (pkey == nullptr || !bio || write(bio.get()) != 1) {
        return false;
    }
    result = contentOf(bio.get()).toByteArray();
    return true;
}

}  // namespace

KeyPointer privateKeyFromPem(QByteArrayView pem, QByteArrayView passphrase, bool* passphraseWanted) {
    return keyFromPem(pem, passphrase, passphraseWanted, PEM_read_bio_PrivateKey);
}

KeyPointer publicKeyFromPem(QByteArrayView pem, bool* passphraseWanted) {
    return keyFromPem(pem, {}, passphraseWanted, PEM_read_bio_PUBKEY);
}

bool privateKeyToPem(const evp_pkey_st* pkey, QByteArray& pem) {
    return writeKey(pkey, pem, [pkey](BIO* bio) {
        return PEM_write_bio_PrivateKey(bio, pkey, nullptr, nullptr, 0, nullptr, nullptr);
    });
}

bool privateKeyToEncryptedPem(const evp_pkey_st* pkey, KeyCipher cipher, QByteArrayView given, QByteArray& pem) {
    Passphrase passphrase{given};
    const EVP_CIPHER* const encryption = cipher == KeyCipher::aes128Cbc ? EVP_aes_128_cbc() : EVP_aes_256_cbc();
    return writeKey(pkey, pem, [&](BIO* bio) {
        return PEM_write_bio_PrivateKey(bio, pkey, encryption, nullptr, 0, givePassphrase, &passphrase);
    });
}

bool privateKeyToTraditionalPem(const evp_pkey_st* pkey, QByteArray& pem) {
    return writeKey(pkey, pem, [pkey](BIO* bio) {
        return PEM_write_bio_PrivateKey_traditional(bio, pkey, nullptr, nullptr, 0, nullptr, nullptr);
    });
}

bool publicKeyToPem(const evp_pkey_st* pkey, QByteArray& pem) {
    return writeKey(pkey, pem, [pkey](BIO* bio) { return PEM_write_bio_PUBKEY(bio, pkey); });
}

bool privateKeyToDer(const evp_pkey_st* pkey, QByteArray& der) {
    return writeKey(pkey, der, [pkey](BIO* bio) { return i2d_PKCS8PrivateKeyInfo_bio(bio, pkey); });
}

DerResult subjectPublicKeyInfo(const evp_pkey_st* pkey, QByteArray& der) {
    const int size = pkey == nullptr ? 0 : i2d_PUBKEY(pkey, nullptr);
    if (size <= 0) {
        return DerResult::noPublicKey;
    }
    QByteArray made(size, '\0');
    auto* out = reinterpret_cast<unsigned char*>(made.data());
    if (i2d_PUBKEY(pkey, &out) != size) {
        return DerResult::failed;
    }
    der = made;
    return DerResult::done;
}
