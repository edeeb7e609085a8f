#include "Preparation/primitives/keyPem.h"

#include "Preparation/primitives/opensslObjects.h"

#include <openssl/pem.h>

#include <cstring>

namespace {

// Far above any key; keeps the size inside the int that OpenSSL takes.
constexpr qsizetype maxPemSize = qsizetype{1} << 20;

// Stands in for OpenSSL's own callback, which would ask at the terminal.
int givePassphrase(char* buffer, int size, int /*writing*/, void* passphrase) {
    const auto& given = *static_cast<const QByteArrayView*>(passphrase);
    if (given.isNull() || given.size() > size) {
        return -1;
    }
    std::memcpy(buffer, given.data(), static_cast<std::size_t>(given.size()));
    return static_cast<int>(given.size());
}

using PemReader = EVP_PKEY* (*)(BIO*, EVP_PKEY**, pem_password_cb*, void*);

KeyPointer keyFromPem(QByteArrayView pem, QByteArrayView passphrase, PemReader read) {
    if (pem.isEmpty() || pem.size() > maxPemSize) {
        return nullptr;
    }
    const BioPointer bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    return KeyPointer(bio ? read(bio.get(), nullptr, givePassphrase, &passphrase) : nullptr);
}

// Runs one of OpenSSL's writers into memory.
template <typename Writer>
bool writePem(const evp_pkey_st* pkey, QByteArray& pem, Writer write) {
    const BioPointer bio = makeMemoryBio();
    if (pkey == nullptr || !bio || write(bio.get()) != 1) {
        return false;
    }
    pem = contentOf(bio.get()).toByteArray();
    return true;
}

}  // namespace

void KeyRelease::operator()(evp_pkey_st* key) const {
    EVP_PKEY_free(key);
}

KeyPointer privateKeyFromPem(QByteArrayView pem, QByteArrayView passphrase) {
    return keyFromPem(pem, passphrase, PEM_read_bio_PrivateKey);
}

KeyPointer publicKeyFromPem(QByteArrayView pem) {
    return keyFromPem(pem, {}, PEM_read_bio_PUBKEY);
}

bool privateKeyToPem(const evp_pkey_st* pkey, QByteArray& pem) {
    return writePem(pkey, pem, [pkey](BIO* bio) {
        return PEM_write_bio_PrivateKey(bio, pkey, nullptr, nullptr, 0, nullptr, nullptr);
    });
}

bool privateKeyToEncryptedPem(const evp_pkey_st* pkey, KeyCipher cipher, QByteArrayView passphrase, QByteArray& pem) {
    const EVP_CIPHER* const encryption = cipher == KeyCipher::aes128Cbc ? EVP_aes_128_cbc() : EVP_aes_256_cbc();
    return writePem(pkey, pem, [&](BIO* bio) {
        return PEM_write_bio_PrivateKey(bio, pkey, encryption, nullptr, 0, givePassphrase, &passphrase);
    });
}

bool privateKeyToTraditionalPem(const evp_pkey_st* pkey, QByteArray& pem) {
    return writePem(pkey, pem, [pkey](BIO* bio) {
        return PEM_write_bio_PrivateKey_traditional(bio, pkey, nullptr, nullptr, 0, nullptr, nullptr);
    });
}

bool publicKeyToPem(const evp_pkey_st* pkey, QByteArray& pem) {
    return writePem(pkey, pem, [pkey](BIO* bio) { return PEM_write_bio_PUBKEY(bio, pkey); });
}
