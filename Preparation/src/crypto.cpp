#include "Preparation/src/crypto.h"

#include "Preparation/primitives/keyFiles.h"
#include "Preparation/primitives/opensslObjects.h"
#include "Preparation/src/keyMessages.h"
#include "display/Display.h"
#include "files/outputFile.h"
#include "files/wipe.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace {

constexpr int rsaKeyBits = 4096;

// One line "name = 0x..." of a key's part.
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

// Sets the context up for PKCS #1 v1.5 over a SHA-256 digest.
bool setPaddingAndHash(EVP_PKEY_CTX* context) {
    if (EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) < 1) {
        return reportError("Error: RSA padding fails\n");
    }
    if (EVP_PKEY_CTX_set_signature_md(context, EVP_sha256()) < 1) {
        return reportError("Error: setting hash algo fails\n");
    }
    return true;
}

bool makeSignature(EVP_PKEY_CTX* context, QByteArrayView digest, QByteArray& signature) {
    if (EVP_PKEY_sign_init(context) < 1) {
        return reportError("Error: signing init fails\n");
    }
    if (!setPaddingAndHash(context)) {
        return false;
    }
    std::size_t size = 0;
    if (EVP_PKEY_sign(context, nullptr, &size, unsignedBytes(digest), unsignedSize(digest)) < 1) {
        return reportError("Error: determining signing buffer length fails\n");
    }
    if (digest.isNull()) {
        return reportError("Error: unvalid hash pointer \n");
    }
    QByteArray made(static_cast<qsizetype>(size), '\0');
    auto* const out = reinterpret_cast<unsigned char*>(made.data());
    if (EVP_PKEY_sign(context, out, &size, unsignedBytes(digest), unsignedSize(digest)) != 1) {
        return reportError("Error: creating signature fails\n");
    }
    made.truncate(static_cast<qsizetype>(size));
    signature = made;
    return true;
}

bool signatureHolds(EVP_PKEY_CTX* context, QByteArrayView digest, QByteArrayView signature) {
    return EVP_PKEY_verify_init(context) == 1 && setPaddingAndHash(context) &&
           EVP_PKEY_verify(context, unsignedBytes(signature), unsignedSize(signature), unsignedBytes(digest),
                           unsignedSize(digest)) == 1;
}

int replaceKeyFile(const QString& path, QByteArrayView bytes, FileAccess access, const ReplaceErrors& errors) {
    return reportReplacement(replaceFile(path, bytes, access), path, errors) ? 1 : -1;
}

}  // namespace

Crypto::Crypto() {
    // What can't be set up here shows itself as the failure of the operation that needs it.
    static_cast<void>(OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS | OPENSSL_INIT_ADD_ALL_CIPHERS |
                                              OPENSSL_INIT_ADD_ALL_DIGESTS | OPENSSL_INIT_LOAD_CONFIG,
                                          nullptr));
}

Crypto::~Crypto() {
    wipe(rawPrivateKey);
}

int Crypto::publicKeyToDer(const evp_pkey_st* /*pkey*/, QByteArray& /*der*/) const {
    static_cast<void>(reportError("Not supported operation\n"));
    return 0;
}

int checkRsaKey(evp_pkey_st* pkey) {
    ERR_clear_error();  // what earlier operations left says nothing about this key
    const KeyContext context = makeKeyContext(pkey);
    const int checked = context ? EVP_PKEY_check(context.get()) : -1;
    if (checked == 1) {
        tell("RSA key ok \n");
        if (ERR_peek_error() == 0) {
            return 1;
        }
    }
    if (checked == 0) {
        unsigned long entry = ERR_peek_error();
        while (ERR_GET_LIB(entry) == ERR_LIB_RSA && ERR_GET_REASON(entry) != ERR_R_MALLOC_FAILURE) {
            const char* const reason = ERR_reason_error_string(entry);
            static_cast<void>(reportError("RSA key error: %s", reason == nullptr ? "" : reason));
            static_cast<void>(ERR_get_error());
            entry = ERR_peek_error();
        }
        return -1;
    }
    ERR_print_errors_fp(stderr);
    return -1;
}

int Crypto::generateKeyPair(KeyPointer& pkey) const {
    const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    if (!context || EVP_PKEY_keygen_init(context.get()) != 1 ||
        EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), rsaKeyBits) != 1) {
        return 0;
    }
    EVP_PKEY* made = nullptr;
    if (EVP_PKEY_keygen(context.get(), &made) != 1) {
        ERR_print_errors_fp(stderr);  // and on: the check fails without a key
    }
    KeyPointer key(made);
    const int result = checkRsaKey(key.get());
    if (result == 1) {
        pkey = std::move(key);
    }
    return result;
}

int Crypto::signDigest(QByteArrayView digest, QByteArray& signature, evp_pkey_st* pkey, bool verbose) const {
    const KeyContext context = makeKeyContext(pkey);
    if (!context) {
        return failWith("Error: creating signing context fails\n");
    }
    QByteArray made;
    if (!makeSignature(context.get(), digest, made)) {
        return -1;
    }
    if (verbose) {
        tell("signature generated\n");
        tell("signature verification: ");
    }
    if (!signatureHolds(context.get(), digest, made)) {
        static_cast<void>(reportError("FAIL \n"));
        return 0;
    }
    if (verbose) {
        displayMessage(MessageKind::success, "SUCCESS \n");
    }
    signature = made;
    return 1;
}

int Crypto::sha256(QByteArrayView data, QByteArray& digest) {
    std::array<char, EVP_MAX_MD_SIZE> bytes{};
    unsigned size = 0;
    if (EVP_Digest(data.data(), unsignedSize(data), reinterpret_cast<unsigned char*>(bytes.data()), &size, EVP_sha256(),
                   nullptr) != 1) {
        return failWith("Error: unknown message digest \n");
    }
    digest = QByteArray(bytes.data(), static_cast<qsizetype>(size));
    return 1;
}

int Crypto::writePrivateKeyPlain(const QString& path, const evp_pkey_st* pkey) {
    constexpr ReplaceErrors errors = {"Error: creating Key File fails\n", "Error: writing Key fails\n"};
    QByteArray pem;
    const WipeOnExit wiped(pem);
    if (!privateKeyToPem(pkey, pem)) {
        return failWith(errors.cannotWrite);
    }
    return replaceKeyFile(path, pem, FileAccess::ownerReadsAndWrites, errors);
}

int Crypto::writePrivateKeyEncrypted(const QString& path, const evp_pkey_st* pkey, QByteArrayView passphrase,
                                     KeyCipher cipher) {
    constexpr ReplaceErrors errors = {"Error: creating Key File fails\n",
                                      "Error: writing encrypted private Key fails\n"};
    QByteArray pem;
    if (!privateKeyToEncryptedPem(pkey, cipher, passphrase, pem)) {
        return failWith(errors.cannotWrite);
    }
    return replaceKeyFile(path, pem, FileAccess::ownerReads, errors);
}

int Crypto::writePublicKey(const QString& path, const evp_pkey_st* pkey) {
    constexpr ReplaceErrors errors = {"Error: creating key file fails\n", "Error: writing key fails\n"};
    QByteArray pem;
    if (!publicKeyToPem(pkey, pem)) {
        return failWith(errors.cannotWrite);
    }
    return replaceKeyFile(path, pem, FileAccess::everybodyReads, errors);
}

int Crypto::writePublicKeyHash(const evp_pkey_st* pkey, const QString& path) const {
    constexpr ReplaceErrors errors = {"Error: reading Device key file fails\n", "Error: writing key fails\n"};
    QByteArray digest;
    if (publicKeyHash(pkey, digest) != 1) {
        return failWith("Error: calculating PubKey hash fails\n");
    }
    return replaceKeyFile(path, digest, FileAccess::everybodyReads, errors);
}

int Crypto::publicKeyHash(const evp_pkey_st* pkey, QByteArray& digest) const {
    QByteArray der;
    if (publicKeyToDer(pkey, der) != 1) {
        return failWith("Error: converting public Key to DER Format fails \n");
    }
    return sha256(der, digest) == 1 ? 1 : failWith("Error : calculating public Key (DER Format) hash fails\n");
}

int Crypto::encodePublicKey(const evp_pkey_st* pkey, QByteArray& der) {
    const int size = pkey == nullptr ? 0 : i2d_PUBKEY(pkey, nullptr);
    if (size <= 0) {
        return failWith("Error: extracting public key fails\n");
    }
    QByteArray made(size, '\0');
    auto* out = reinterpret_cast<unsigned char*>(made.data());
    if (i2d_PUBKEY(pkey, &out) != size) {
        return failWith("Error: creating DER Format Public Key Fails\n");
    }
    der = made;
    return 1;
}

int Crypto::releaseBuffer(QByteArray& buffer) {
    if (buffer.isNull()) {
        return 0;
    }
    wipe(buffer);
    return 1;
}

int Crypto::readPublicKeyPem(const QString& path, KeyPointer& pkey) {
    QByteArray pem;
    if (!readKeyFile(path, pem)) {
        return failWith("Error: reading device key file fails\n");
    }
    KeyPointer key = publicKeyFromPem(pem);
    if (!key) {
        return failWith("Error: reading public key file fails\n");
    }
    pkey = std::move(key);
    return 1;
}

int Crypto::readPublicKeyAsDer(const QString& path, QByteArray& der) {
    KeyPointer key;
    if (readPublicKeyPem(path, key) != 1 || encodePublicKey(key.get(), der) != 1) {
        return failWith("Error: reading public key fails\n");
    }
    return 1;
}

int Crypto::readPrivateKey(const QString& path, KeyPointer& pkey) {
    QByteArray pem;
    const WipeOnExit wiped(pem);
    if (!readKeyFile(path, pem)) {
        return failWith("Error: reading device key file fails\n");
    }
    KeyPointer key = privateKeyFromPem(pem);
    if (!key) {
        return failWith("Error: reading Private key fails\n");
    }
    pkey = std::move(key);
    return 1;
}

int Crypto::readPrivateKeyEncrypted(const QString& path, KeyPointer& pkey, QByteArrayView passphrase) {
    QByteArray pem;
    const WipeOnExit wiped(pem);
    if (!readKeyFile(path, pem)) {
        return failWith("Error: reading device key file fails \n");
    }
    KeyPointer key = privateKeyFromPem(pem, passphrase);
    if (!key) {
        return failWith("Error: reading encrypted private key file fails\n");
    }
    printRsaKey(key.get());
    pkey = std::move(key);
    return 1;
}

void Crypto::printRsaKey(const evp_pkey_st* pkey) {
    if (pkey == nullptr || EVP_PKEY_get_base_id(pkey) != EVP_PKEY_RSA) {
        static_cast<void>(reportError("Error: EVP_PKEY_get1_RSA failed\n"));
        return;
    }
    printPart(pkey, "p", OSSL_PKEY_PARAM_RSA_FACTOR1);
    printPart(pkey, "q", OSSL_PKEY_PARAM_RSA_FACTOR2);
    printPart(pkey, "n", OSSL_PKEY_PARAM_RSA_N);
    printPart(pkey, "e", OSSL_PKEY_PARAM_RSA_E);
    printPart(pkey, "d", OSSL_PKEY_PARAM_RSA_D);
}

int Crypto::signData(QByteArrayView data, const QString& keyPath, QByteArrayView passphrase, QByteArray& signature,
                     bool verbose) const {
    tell("Reading Private Key File... \n");
    KeyPointer key;
    if (readPrivateKeyEncrypted(keyPath, key, passphrase) != 1) {
        return failWith("Error: reading private key file fails\n");
    }
    QByteArray digest;
    if (sha256(data, digest) != 1 || signDigest(digest, signature, key.get(), verbose) != 1) {
        return failWith("Error: signing fails \n");
    }
    return 1;
}

bool Crypto::selectCipher(std::int32_t algorithm, KeyCipher& cipher) {
    switch (algorithm) {
        case 0:
            cipher = KeyCipher::aes128Cbc;
            tell("AES_128_cbc algorithm is selected for private key encription\n");
            return true;
        case 1:
            cipher = KeyCipher::aes256Cbc;
            tell("AES_256_cbc algorithm is selected for private key encription\n");
            return true;
        default:
            tell("Unsupported algorithm selected for private key encription\n");
            return false;
    }
}

int Crypto::generateKeyFiles(const QString& privatePath, const QString& publicPath, const QString& hashPath,
                             QByteArrayView passphrase, std::int32_t algorithm) const {
    KeyCipher cipher{};
    if (!selectCipher(algorithm, cipher)) {
        return -1;
    }
    // Told as an error although it is none: a look that users of the key services know.
    static_cast<void>(reportError("Generating RSA private key... \n"));
    std::fflush(stdout);  // the key takes seconds
    KeyPointer key;
    if (generateKeyPair(key) != 1) {
        return failWith("Error: fail occured while generating RSA private key\n");
    }
    tell("Saving RSA private key...\n");
    if (writePrivateKeyEncrypted(privatePath, key.get(), passphrase, cipher) != 1) {
        return failWith("Error: creating PEM file fails\n");
    }
    tell("Private key PEM file created\n");
    if (writePublicKey(publicPath, key.get()) != 1) {
        return failWith("Error: creating Pubkey.pem fails\n");
    }
    tell("Public key PEM file created\n");
    static_cast<void>(writePublicKeyHash(key.get(), hashPath));  // an RSA key has no hashed form
    tell("Key generation done\n");
    return 1;
}
