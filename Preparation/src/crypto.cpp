#include "Preparation/src/crypto.h"

#include "Preparation/primitives/Sha256.h"
#include "Preparation/primitives/keyFiles.h"
#include "Preparation/primitives/rsaSignature.h"
#include "Preparation/src/keyServiceResult.h"
#include "Preparation/src/rawPrivateKey.h"
#include "display/Display.h"
#include "files/outputFile.h"
#include "files/wipe.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr int rsaKeyBits = 4096;

// Prints one part of a key as a line "name = 0x...".
void printPart(const evp_pkey_st* pkey, const char* name, const char* parameter) {
    BIGNUM* part = nullptr;
    if (EVP_PKEY_get_bn_param(pkey, parameter, &part) != 1) {
        std::printf("%s = NULL\n", name);
        return;
    }
    const NumberPointer owned(part);
    char* const digits = BN_bn2hex(part);
    if (digits == nullptr) {
        std::printf("%s = NULL\n", name);
        return;
    }
    std::printf("%s = 0x%s\n", name, digits);
    OPENSSL_clear_free(digits, std::strlen(digits));
}

const char* messageOf(RsaStep failed) {
    switch (failed) {
        case RsaStep::context:
            return "Error: creating signing context fails\n";
        case RsaStep::start:
            return "Error: signing init fails\n";
        case RsaStep::padding:
            return "Error: RSA padding fails\n";
        case RsaStep::hash:
            return "Error: setting hash algo fails\n";
        case RsaStep::size:
            return "Error: determining signing buffer length fails\n";
        case RsaStep::digest:
            return "Error: unvalid hash pointer \n";
        case RsaStep::sign:
            return "Error: creating signature fails\n";
        case RsaStep::verify:
        case RsaStep::done:
            break;
    }
    return "FAIL \n";
}

int replaceKeyFile(const QString& path, QByteArrayView bytes, FileAccess access, const ReplaceErrors& errors) {
    return reportReplacement(replaceFile(path, bytes, access), path, errors) ? keyService::done : keyService::failed;
}

}  // namespace

Crypto::Crypto() {
    // If this fails, the operation that needs OpenSSL reports a failure.
    static_cast<void>(OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS | OPENSSL_INIT_ADD_ALL_CIPHERS |
                                              OPENSSL_INIT_ADD_ALL_DIGESTS | OPENSSL_INIT_LOAD_CONFIG,
                                          nullptr));
}

Crypto::~Crypto() {
    wipe(rawPrivateKey);
}

int Crypto::publicKeyToDer(const evp_pkey_st* /*pkey*/, QByteArray& /*der*/) const {
    return refuseKeyService("Not supported operation\n");
}

int checkRsaKey(evp_pkey_st* pkey) {
    ERR_clear_error();  // errors of earlier operations aren't about this key
    const KeyContext context = makeKeyContext(pkey);
    const int checked = context ? EVP_PKEY_check(context.get()) : -1;
    if (checked == 1) {
        showProgress("RSA key ok \n");
        if (ERR_peek_error() == 0) {
            return keyService::done;
        }
    }
    if (checked == 0) {
        unsigned long entry = ERR_peek_error();
        while (ERR_GET_LIB(entry) == ERR_LIB_RSA && ERR_GET_REASON(entry) != ERR_R_MALLOC_FAILURE) {
            const char* const reason = ERR_reason_error_string(entry);
            reportError("RSA key error: %s", reason == nullptr ? "" : reason);
            static_cast<void>(ERR_get_error());
            entry = ERR_peek_error();
        }
        return keyService::failed;
    }
    ERR_print_errors_fp(stderr);
    return keyService::failed;
}

int Crypto::generateKeyPair(KeyPointer& pkey) const {
    const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    if (!context || EVP_PKEY_keygen_init(context.get()) != 1 ||
        EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), rsaKeyBits) != 1) {
        return keyService::refused;
    }
    EVP_PKEY* made = nullptr;
    if (EVP_PKEY_keygen(context.get(), &made) != 1) {
        ERR_print_errors_fp(stderr);  // no return here, because the check fails without a key
    }
    KeyPointer key(made);
    const int result = checkRsaKey(key.get());
    if (result == keyService::done) {
        pkey = std::move(key);
    }
    return result;
}

int Crypto::signDigest(QByteArrayView digest, QByteArray& signature, evp_pkey_st* pkey, bool verbose) const {
    constexpr int anySize = 0;
    QByteArray made;
    const RsaStep signing = signRsa(pkey, digest, anySize, made);
    if (signing != RsaStep::done) {
        return failKeyService(messageOf(signing));
    }
    if (verbose) {
        showProgress("signature generated\n");
        showProgress("signature verification: ");
    }
    if (verifyRsa(pkey, digest, made) != RsaStep::done) {
        return refuseKeyService(messageOf(RsaStep::verify));
    }
    if (verbose) {
        displayMessage(MessageKind::success, "SUCCESS \n");
    }
    signature = made;
    return keyService::done;
}

int Crypto::sha256(QByteArrayView data, QByteArray& digest) {
    Sha256Digest bytes{};
    if (!::sha256({data}, bytes)) {
        return failKeyService("Error: unknown message digest \n");
    }
    digest = QByteArray(bytes.data(), static_cast<qsizetype>(bytes.size()));
    return keyService::done;
}

int Crypto::writePrivateKeyPlain(const QString& path, const evp_pkey_st* pkey) {
    constexpr ReplaceErrors errors = {"Error: creating Key File fails\n", "Error: writing Key fails\n"};
    QByteArray pem;
    const WipeOnExit wiped(pem);
    if (!privateKeyToPem(pkey, pem)) {
        return failKeyService(errors.cannotWrite);
    }
    return replaceKeyFile(path, pem, FileAccess::ownerReadsAndWrites, errors);
}

int Crypto::writePrivateKeyEncrypted(const QString& path, const evp_pkey_st* pkey, QByteArrayView passphrase,
                                     KeyCipher cipher) {
    constexpr ReplaceErrors errors = {"Error: creating Key File fails\n",
                                      "Error: writing encrypted private Key fails\n"};
    QByteArray pem;
    if (!privateKeyToEncryptedPem(pkey, cipher, passphrase, pem)) {
        return failKeyService(errors.cannotWrite);
    }
    return replaceKeyFile(path, pem, FileAccess::ownerReads, errors);
}

int Crypto::writePublicKey(const QString& path, const evp_pkey_st* pkey) {
    constexpr ReplaceErrors errors = {"Error: creating key file fails\n", "Error: writing key fails\n"};
    QByteArray pem;
    if (!publicKeyToPem(pkey, pem)) {
        return failKeyService(errors.cannotWrite);
    }
    return replaceKeyFile(path, pem, FileAccess::everybodyReads, errors);
}

int Crypto::writePublicKeyHash(const evp_pkey_st* pkey, const QString& path) const {
    constexpr ReplaceErrors errors = {"Error: reading Device key file fails\n", "Error: writing key fails\n"};
    QByteArray digest;
    if (publicKeyHash(pkey, digest) != keyService::done) {
        return failKeyService("Error: calculating PubKey hash fails\n");
    }
    return replaceKeyFile(path, digest, FileAccess::everybodyReads, errors);
}

int Crypto::publicKeyHash(const evp_pkey_st* pkey, QByteArray& digest) const {
    QByteArray der;
    if (publicKeyToDer(pkey, der) != keyService::done) {
        return failKeyService("Error: converting public Key to DER Format fails \n");
    }
    return sha256(der, digest) == keyService::done
               ? keyService::done
               : failKeyService("Error : calculating public Key (DER Format) hash fails\n");
}

int Crypto::encodePublicKey(const evp_pkey_st* pkey, QByteArray& der) {
    switch (subjectPublicKeyInfo(pkey, der)) {
        case DerResult::done:
            return keyService::done;
        case DerResult::noPublicKey:
            return failKeyService("Error: extracting public key fails\n");
        case DerResult::failed:
            break;
    }
    return failKeyService("Error: creating DER Format Public Key Fails\n");
}

int Crypto::releaseBuffer(QByteArray& buffer) {
    if (buffer.isNull()) {
        return keyService::refused;
    }
    wipeIfOwned(buffer);
    return keyService::done;
}

int Crypto::readPublicKeyPem(const QString& path, KeyPointer& pkey) {
    QByteArray pem;
    const WipeOnExit wiped(pem);  // the file may contain a private key
    if (!readKeyFile(path, pem)) {
        return failKeyService("Error: reading device key file fails\n");
    }
    KeyPointer key = publicKeyFromPem(pem);
    if (!key) {
        return failKeyService("Error: reading public key file fails\n");
    }
    pkey = std::move(key);
    return keyService::done;
}

int Crypto::readPublicKeyAsDer(const QString& path, QByteArray& der) {
    KeyPointer key;
    if (readPublicKeyPem(path, key) != keyService::done || encodePublicKey(key.get(), der) != keyService::done) {
        return failKeyService("Error: reading public key fails\n");
    }
    return keyService::done;
}

int Crypto::readPrivateKey(const QString& path, KeyPointer& pkey) {
    QByteArray pem;
    const WipeOnExit wiped(pem);
    if (!readKeyFile(path, pem)) {
        return failKeyService("Error: reading device key file fails\n");
    }
    KeyPointer key = privateKeyFromPem(pem);
    if (!key) {
        return failKeyService("Error: reading Private key fails\n");
    }
    pkey = std::move(key);
    return keyService::done;
}

int Crypto::readPrivateKeyEncrypted(const QString& path, KeyPointer& pkey, QByteArrayView passphrase) {
    QByteArray pem;
    const WipeOnExit wiped(pem);
    if (!readKeyFile(path, pem)) {
        return failKeyService("Error: reading device key file fails \n");
    }
    KeyPointer key = privateKeyFromPem(pem, passphrase);
    if (!key) {
        return failKeyService("Error: reading encrypted private key file fails\n");
    }
    printRsaKey(key.get());
    pkey = std::move(key);
    return keyService::done;
}

void Crypto::printRsaKey(const evp_pkey_st* pkey) {
    if (pkey == nullptr || EVP_PKEY_get_base_id(pkey) != EVP_PKEY_RSA) {
        reportError("Error: EVP_PKEY_get1_RSA failed\n");
        return;
    }
    printPart(pkey, "p", OSSL_PKEY_PARAM_RSA_FACTOR1);
    printPart(pkey, "q", OSSL_PKEY_PARAM_RSA_FACTOR2);
    printPart(pkey, "n", OSSL_PKEY_PARAM_RSA_N);
    printPart(pkey, "e", OSSL_PKEY_PARAM_RSA_E);
    printPart(pkey, "d", OSSL_PKEY_PARAM_RSA_D);
}

int Crypto::extractRawPrivateKey(const QString& path) {
    QByteArray pem;
    const WipeOnExit wiped(pem);
    if (!readKeyFile(path, pem)) {
        return refuseKeyService("Error: reading device key file fails\n");
    }
    const KeyPointer key = privateKeyFromPem(pem);
    if (!key) {
        return refuseKeyService("Extract Private Key Fails\n");
    }
    QByteArray der;
    if (!privateKeyToDer(key.get(), der)) {
        return refuseKeyService("Creating Bin Format Private Key Fails\n");
    }
    if (!removePublicKey(der)) {
        wipe(der);
        return keyService::refused;
    }
    wipe(rawPrivateKey);
    rawPrivateKey.swap(der);
    rawPrivateKeySize = static_cast<std::uint64_t>(rawPrivateKey.size());
    return keyService::done;
}

int Crypto::signData(QByteArrayView data, const QString& keyPath, QByteArrayView passphrase, QByteArray& signature,
                     bool verbose) const {
    showProgress("Reading Private Key File... \n");
    KeyPointer key;
    if (readPrivateKeyEncrypted(keyPath, key, passphrase) != keyService::done) {
        return failKeyService("Error: reading private key file fails\n");
    }
    QByteArray digest;
    if (sha256(data, digest) != keyService::done ||
        signDigest(digest, signature, key.get(), verbose) != keyService::done) {
        return failKeyService("Error: signing fails \n");
    }
    return keyService::done;
}

bool Crypto::selectCipher(std::int32_t algorithm, KeyCipher& cipher) {
    switch (algorithm) {
        case 0:
            cipher = KeyCipher::aes128Cbc;
            showProgress("AES_128_cbc algorithm is selected for private key encription\n");
            return true;
        case 1:
            cipher = KeyCipher::aes256Cbc;
            showProgress("AES_256_cbc algorithm is selected for private key encription\n");
            return true;
        default:
            showProgress("Unsupported algorithm selected for private key encription\n");
            return false;
    }
}

int Crypto::generateKeyFiles(const QString& privatePath, const QString& publicPath, const QString& hashPath,
                             QByteArrayView passphrase, std::int32_t algorithm) const {
    KeyCipher cipher{};
    if (!selectCipher(algorithm, cipher)) {
        return keyService::failed;
    }
    // The message isn't an error. It is shown as one, because users of the key services know it in this form.
    reportError("Generating RSA private key... \n");
    std::fflush(stdout);  // generating the key takes seconds
    KeyPointer key;
    if (generateKeyPair(key) != keyService::done) {
        return failKeyService("Error: fail occured while generating RSA private key\n");
    }
    showProgress("Saving RSA private key...\n");
    if (writePrivateKeyEncrypted(privatePath, key.get(), passphrase, cipher) != keyService::done) {
        return failKeyService("Error: creating PEM file fails\n");
    }
    showProgress("Private key PEM file created\n");
    if (writePublicKey(publicPath, key.get()) != keyService::done) {
        return failKeyService("Error: creating Pubkey.pem fails\n");
    }
    showProgress("Public key PEM file created\n");
    static_cast<void>(writePublicKeyHash(key.get(), hashPath));  // always fails for an RSA key, which has no hash
    showProgress("Key generation done\n");
    return keyService::done;
}
