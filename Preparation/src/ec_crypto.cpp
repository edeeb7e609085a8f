#include "Preparation/src/ec_crypto.h"

#include "Preparation/primitives/opensslObjects.h"
#include "Preparation/primitives/rawSignature.h"
#include "Preparation/src/keyMessages.h"
#include "display/Display.h"

#include <openssl/ec.h>
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

// Any other form than that of an uncompressed point on a named curve has another size and would be cut wrongly.
bool keepPoint(QByteArray& der, std::int32_t curveNid) {
    const qsizetype headerSize = curveNid == brainpoolP256t1Nid ? 28 : 27;
    if (der.size() != headerSize + pointSize) {
        return reportError("Error: extracting public key fails\n");
    }
    der.remove(0, headerSize);
    return true;
}

int verifyEcdsa(EVP_PKEY* pkey, QByteArrayView digest, QByteArrayView derSignature) {
    const KeyContext context = makeKeyContext(pkey);
    if (!context || EVP_PKEY_verify_init(context.get()) != 1) {
        return -1;
    }
    return EVP_PKEY_verify(context.get(), unsignedBytes(derSignature), unsignedSize(derSignature),
                           unsignedBytes(digest), unsignedSize(digest));
}

void tellVerification(int result) {
    tell("signature verification: ");
    switch (result) {
        case 1:
            displayMessage(MessageKind::success, "SUCCESS \n");
            break;
        case 0:
            static_cast<void>(reportError("Incorrect signature!\n"));
            break;
        default:
            static_cast<void>(reportError("Error occured during signature verification!\n"));
            break;
    }
}

}  // namespace

EC_Crypto::EC_Crypto() = default;

EC_Crypto::EC_Crypto(std::int32_t nid) : curveNid(nid) {
}

int EC_Crypto::publicKeyToDer(const evp_pkey_st* pkey, QByteArray& der) const {
    QByteArray encoded;
    if (encodePublicKey(pkey, encoded) != 1) {
        return -1;
    }
    printDer(encoded);
    if (!keepPoint(encoded, curveNid)) {
        return -1;
    }
    der = encoded;
    return 1;
}

int EC_Crypto::generateKeyPair(KeyPointer& pkey) const {
    const KeyContext parameterContext(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
    EVP_PKEY* parameters = nullptr;
    if (!parameterContext || EVP_PKEY_paramgen_init(parameterContext.get()) != 1 ||
        EVP_PKEY_CTX_set_ec_paramgen_curve_nid(parameterContext.get(), curveNid) != 1 ||
        EVP_PKEY_CTX_set_ec_param_enc(parameterContext.get(), OPENSSL_EC_NAMED_CURVE) != 1 ||
        EVP_PKEY_paramgen(parameterContext.get(), &parameters) != 1) {
        return 0;
    }
    const KeyPointer curve(parameters);
    const KeyContext keyContext = makeKeyContext(curve.get());
    EVP_PKEY* made = nullptr;
    if (!keyContext || EVP_PKEY_keygen_init(keyContext.get()) != 1 || EVP_PKEY_keygen(keyContext.get(), &made) != 1) {
        return 0;
    }
    KeyPointer key(made);
    const KeyContext checkContext = makeKeyContext(key.get());
    if (!checkContext || EVP_PKEY_check(checkContext.get()) != 1) {
        return 0;
    }
    pkey = std::move(key);
    return 1;
}

int EC_Crypto::setCurve(std::int32_t nid) {
    curveNid = nid;
    switch (nid) {
        case prime256v1Nid:
            tell("Prime256v1 curve is selected. \n");
            return 1;
        case brainpoolP256t1Nid:
            tell("brainpoolP256t1 curve is selected.\n");
            return 1;
        default:
            return failWith("Unsupported curve NID!\n");
    }
}

int EC_Crypto::generateKeyFiles(const QString& privatePath, const QString& publicPath, const QString& hashPath,
                                QByteArrayView passphrase, std::int32_t algorithm) const {
    KeyCipher cipher{};
    if (!selectCipher(algorithm, cipher)) {
        return -1;
    }
    switch (curveNid) {
        case prime256v1Nid:
            tell("Generating Prime256v1 keys... \n");
            break;
        case brainpoolP256t1Nid:
            tell("Generating brainpoolP256t1 keys... \n");
            break;
        default:
            return failWith("Unsupported curve NID!\n");
    }
    KeyPointer key;
    if (generateKeyPair(key) != 1) {
        return failWith("Error occured while generating Keypair! \n");
    }
    if (writePrivateKeyEncrypted(privatePath, key.get(), passphrase, cipher) != 1) {
        return failWith("Error occured while creating PEM file!\n");
    }
    tell("Private key PEM file created \n");
    if (writePublicKey(publicPath, key.get()) != 1) {
        return failWith("Error occured while creating public key PEM file!\n");
    }
    tell("Public key PEM file created \n");
    if (writePublicKeyHash(key.get(), hashPath) != 1) {
        return failWith("Error occured while creating public key hash file!\n");
    }
    tell("public key hash file created \n");
    return 1;
}

qsizetype EC_Crypto::reverseBytes(QByteArray& out, QByteArrayView in) {
    QByteArray reversed(in.size(), '\0');
    std::reverse_copy(in.begin(), in.end(), reversed.begin());
    out.swap(reversed);
    return out.size();
}

int EC_Crypto::signDigestEcdsa(QByteArrayView digest, QByteArray& signature, evp_pkey_st* pkey) {
    const bool onCurve = pkey != nullptr && EVP_PKEY_get_base_id(pkey) == EVP_PKEY_EC;
    const int room = onCurve ? EVP_PKEY_get_size(pkey) : 0;
    if (room <= 0) {
        return failWith("Error: determining signing buffer length fails \n");
    }
    if (digest.isNull()) {
        return failWith("Error: unvalid hash pointer \n");
    }
    QByteArray derSignature(room, '\0');
    auto size = static_cast<std::size_t>(room);
    const KeyContext context = makeKeyContext(pkey);
    if (!context || EVP_PKEY_sign_init(context.get()) != 1 ||
        EVP_PKEY_sign(context.get(), reinterpret_cast<unsigned char*>(derSignature.data()), &size,
                      unsignedBytes(digest), unsignedSize(digest)) != 1) {
        return failWith("Error: Creating ECDSA signature fails!\n");
    }
    derSignature.truncate(static_cast<qsizetype>(size));
    tell("ECDSA signature generated.\n");
    tellVerification(verifyEcdsa(pkey, digest, derSignature));

    // What leaves is the raw form: that it still is the signature decides the result.
    QByteArray raw;
    QByteArray decoded;
    if (!toRawSignature(derSignature, raw) || !toDerSignature(raw, decoded)) {
        return -1;
    }
    const int result = verifyEcdsa(pkey, digest, decoded);
    if (result == 1) {
        signature = raw;
    }
    return result;
}

int EC_Crypto::readRawPublicKey(const QString& path, QByteArray& der) const {
    KeyPointer key;
    if (readPublicKeyPem(path, key) != 1 || publicKeyToDer(key.get(), der) != 1) {
        return failWith("Reading public key fails \n");
    }
    return 1;
}

int EC_Crypto::readPublicKeyDer(const QString& path, QByteArray& der) {
    KeyPointer key;
    if (readPublicKeyPem(path, key) != 1 || encodePublicKey(key.get(), der) != 1) {
        static_cast<void>(reportError("Reading public key fails \n"));
        return 0;
    }
    printDer(der);
    return 1;
}
