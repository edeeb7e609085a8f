#include "Preparation/src/ec_crypto.h"

#include "Preparation/primitives/ecdsa.h"
#include "Preparation/src/keyServiceResult.h"
#include "display/Display.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/obj_mac.h>

#include <algorithm>

static_assert(prime256v1Nid == NID_X9_62_prime256v1 && brainpoolP256t1Nid == NID_brainpoolP256t1);

namespace {

constexpr qsizetype pointSize = 64;

void printDer(const QByteArray& der) {
    constexpr qsizetype bytesPerLine = 16;
    QByteArray dump;
    for (qsizetype at = 0; at < der.size(); at += bytesPerLine) {
        dump += '\n' + der.mid(at, bytesPerLine).toHex(' ').toUpper();
    }
    displayMessage(MessageKind::normal, "public key in DER:%s", dump.constData());
}

// Cuts `der` to the point. Only the DER of an uncompressed point on a named curve has the expected size; any other form
// is rejected.
bool keepPoint(QByteArray& der, std::int32_t curveNid) {
    const qsizetype headerSize = curveNid == brainpoolP256t1Nid ? 28 : 27;
    if (der.size() != headerSize + pointSize) {
        return reportError("Error: extracting public key fails\n");
    }
    der.remove(0, headerSize);
    return true;
}

void showVerification(EcdsaCheck check) {
    showProgress("signature verification: ");
    switch (check) {
        case EcdsaCheck::holds:
            displayMessage(MessageKind::success, "SUCCESS \n");
            break;
        case EcdsaCheck::doesNotHold:
            reportError("Incorrect signature!\n");
            break;
        case EcdsaCheck::failed:
            reportError("Error occured during signature verification!\n");
            break;
    }
}

}  // namespace

EC_Crypto::EC_Crypto() = default;

EC_Crypto::EC_Crypto(std::int32_t nid) : curveNid(nid) {
}

int EC_Crypto::publicKeyToDer(const evp_pkey_st* pkey, QByteArray& der) const {
    QByteArray encoded;
    if (encodePublicKey(pkey, encoded) != keyService::done) {
        return keyService::failed;
    }
    printDer(encoded);
    if (!keepPoint(encoded, curveNid)) {
        return keyService::failed;
    }
    der = encoded;
    return keyService::done;
}

int EC_Crypto::generateKeyPair(KeyPointer& pkey) const {
    const KeyContext parameterContext(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
    EVP_PKEY* parameters = nullptr;
    if (!parameterContext || EVP_PKEY_paramgen_init(parameterContext.get()) != 1 ||
        EVP_PKEY_CTX_set_ec_paramgen_curve_nid(parameterContext.get(), curveNid) != 1 ||
        EVP_PKEY_CTX_set_ec_param_enc(parameterContext.get(), OPENSSL_EC_NAMED_CURVE) != 1 ||
        EVP_PKEY_paramgen(parameterContext.get(), &parameters) != 1) {
        return keyService::refused;
    }
    const KeyPointer curve(parameters);
    const KeyContext keyContext = makeKeyContext(curve.get());
    EVP_PKEY* made = nullptr;
    if (!keyContext || EVP_PKEY_keygen_init(keyContext.get()) != 1 || EVP_PKEY_keygen(keyContext.get(), &made) != 1) {
        return keyService::refused;
    }
    KeyPointer key(made);
    const KeyContext checkContext = makeKeyContext(key.get());
    if (!checkContext || EVP_PKEY_check(checkContext.get()) != 1) {
        return keyService::refused;
    }
    pkey = std::move(key);
    return keyService::done;
}

int EC_Crypto::setCurve(std::int32_t nid) {
    curveNid = nid;
    switch (nid) {
        case prime256v1Nid:
            showProgress("Prime256v1 curve is selected. \n");
            return keyService::done;
        case brainpoolP256t1Nid:
            showProgress("brainpoolP256t1 curve is selected.\n");
            return keyService::done;
        default:
            return failKeyService("Unsupported curve NID!\n");
    }
}

int EC_Crypto::generateKeyFiles(const QString& privatePath, const QString& publicPath, const QString& hashPath,
                                QByteArrayView passphrase, std::int32_t algorithm) const {
    KeyCipher cipher{};
    if (!selectCipher(algorithm, cipher)) {
        return keyService::failed;
    }
    switch (curveNid) {
        case prime256v1Nid:
            showProgress("Generating Prime256v1 keys... \n");
            break;
        case brainpoolP256t1Nid:
            showProgress("Generating brainpoolP256t1 keys... \n");
            break;
        default:
            return failKeyService("Unsupported curve NID!\n");
    }
    KeyPointer key;
    if (generateKeyPair(key) != keyService::done) {
        return failKeyService("Error occured while generating Keypair! \n");
    }
    if (writePrivateKeyEncrypted(privatePath, key.get(), passphrase, cipher) != keyService::done) {
        return failKeyService("Error occured while creating PEM file!\n");
    }
    showProgress("Private key PEM file created \n");
    if (writePublicKey(publicPath, key.get()) != keyService::done) {
        return failKeyService("Error occured while creating public key PEM file!\n");
    }
    showProgress("Public key PEM file created \n");
    if (writePublicKeyHash(key.get(), hashPath) != keyService::done) {
        return failKeyService("Error occured while creating public key hash file!\n");
    }
    showProgress("public key hash file created \n");
    return keyService::done;
}

qsizetype EC_Crypto::reverseBytes(QByteArray& out, QByteArrayView in) {
    QByteArray reversed(in.size(), '\0');
    std::reverse_copy(in.begin(), in.end(), reversed.begin());
    out.swap(reversed);
    return out.size();
}

int EC_Crypto::signDigestEcdsa(QByteArrayView digest, QByteArray& signature, evp_pkey_st* pkey) {
    if (pkey == nullptr || EVP_PKEY_get_base_id(pkey) != EVP_PKEY_EC || EVP_PKEY_get_size(pkey) <= 0) {
        return failKeyService("Error: determining signing buffer length fails \n");
    }
    if (digest.isNull()) {
        return failKeyService("Error: unvalid hash pointer \n");
    }
    QByteArray derSignature;
    if (!signEcdsa(pkey, digest, derSignature)) {
        return failKeyService("Error: Creating ECDSA signature fails!\n");
    }
    showProgress("ECDSA signature generated.\n");
    showVerification(verifyEcdsa(pkey, digest, derSignature));

    // The caller receives the raw form, so the result depends on whether the raw form verifies.
    QByteArray raw;
    QByteArray decoded;
    if (!toRawSignature(derSignature, raw) || !toDerSignature(raw, decoded)) {
        return keyService::failed;
    }
    switch (verifyEcdsa(pkey, digest, decoded)) {
        case EcdsaCheck::holds:
            signature = raw;
            return keyService::done;
        case EcdsaCheck::doesNotHold:
            return keyService::refused;
        case EcdsaCheck::failed:
            break;
    }
    return keyService::failed;
}

int EC_Crypto::readRawPublicKey(const QString& path, QByteArray& der) const {
    KeyPointer key;
    if (readPublicKeyPem(path, key) != keyService::done || publicKeyToDer(key.get(), der) != keyService::done) {
        return failKeyService("Reading public key fails \n");
    }
    return keyService::done;
}

int EC_Crypto::readPublicKeyDer(const QString& path, QByteArray& der) {
    KeyPointer key;
    if (readPublicKeyPem(path, key) != keyService::done || encodePublicKey(key.get(), der) != keyService::done) {
        return refuseKeyService("Reading public key fails \n");
    }
    printDer(der);
    return keyService::done;
}
