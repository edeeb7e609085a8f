#include "Preparation/src/library/OpensslPointer.h"
#include "Preparation/src/library/P256Key.h"
#include "Preparation/src/library/SignedImageContent.h"
#include "display/Display.h"
#include "files/outputFile.h"
#include "preparation-interface/Preparation.h"

#include <QDir>
#include <QFile>

#include <openssl/bn.h>
#include <openssl/ecdsa.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <array>

namespace {

constexpr int numberSize = 32;
constexpr std::size_t signatureSize = 2 * std::size_t{numberSize};
using Signature = std::array<unsigned char, signatureSize>;  // r, then s, big-endian

using BigNumber = OpensslPointer<BIGNUM, BN_free>;
using DigestContext = OpensslPointer<EVP_MD_CTX, EVP_MD_CTX_free>;
using EcdsaPair = OpensslPointer<ECDSA_SIG, ECDSA_SIG_free>;

// The most that a P-256 signature takes in DER: a sequence of two integers of up to 33 bytes.
constexpr std::size_t maxDerSize = 72;
using Der = std::array<unsigned char, maxDerSize>;

bool signBytes(const P256Key& key, QByteArrayView part, QByteArrayView footerHead, Signature& signature) {
    const DigestContext context(EVP_MD_CTX_new());
    Der der{};
    std::size_t derSize = der.size();
    if (!context || EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) != 1 ||
        EVP_DigestSignUpdate(context.get(), part.data(), static_cast<std::size_t>(part.size())) != 1 ||
        EVP_DigestSignUpdate(context.get(), footerHead.data(), static_cast<std::size_t>(footerHead.size())) != 1 ||
        EVP_DigestSignFinal(context.get(), der.data(), &derSize) != 1) {
        return false;
    }
    const unsigned char* next = der.data();
    const EcdsaPair pair(d2i_ECDSA_SIG(nullptr, &next, static_cast<long>(derSize)));
    return pair && BN_bn2binpad(ECDSA_SIG_get0_r(pair.get()), signature.data(), numberSize) == numberSize &&
           BN_bn2binpad(ECDSA_SIG_get0_s(pair.get()), signature.data() + numberSize, numberSize) == numberSize;
}

// Starts from the bytes that go into the image, so that a fault in their encoding shows as well.
bool verifyBytes(const P256Key& key, QByteArrayView part, QByteArrayView footerHead, const Signature& signature) {
    const EcdsaPair pair(ECDSA_SIG_new());
    BigNumber r(BN_bin2bn(signature.data(), numberSize, nullptr));
    BigNumber s(BN_bin2bn(signature.data() + numberSize, numberSize, nullptr));
    if (!pair || !r || !s || ECDSA_SIG_set0(pair.get(), r.get(), s.get()) != 1) {
        return false;
    }
    static_cast<void>(r.release());  // the pair owns both now
    static_cast<void>(s.release());
    Der der{};
    unsigned char* next = der.data();
    const int derSize = i2d_ECDSA_SIG(pair.get(), &next);
    const DigestContext context(EVP_MD_CTX_new());
    return derSize > 0 && context &&
           EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) == 1 &&
           EVP_DigestVerifyUpdate(context.get(), part.data(), static_cast<std::size_t>(part.size())) == 1 &&
           EVP_DigestVerifyUpdate(context.get(), footerHead.data(), static_cast<std::size_t>(footerHead.size())) == 1 &&
           EVP_DigestVerifyFinal(context.get(), der.data(), static_cast<std::size_t>(derSize)) == 1;
}

// The private key's path without the suffix of its file name, then "_pub.bin".
QString publicKeyPath(const QString& privateKeyPath) {
    const QString path = QDir::fromNativeSeparators(privateKeyPath);
    const qsizetype dot = path.lastIndexOf(QLatin1Char('.'));
    const QString stem = dot > path.lastIndexOf(QLatin1Char('/')) ? path.left(dot) : path;
    return stem + QStringLiteral("_pub.bin");
}

// A key signs many images: only its first one writes the public key.
bool writePublicKeyFile(const P256Key& key, const QString& path) {
    const QByteArray point = p256PublicPoint(key);
    if (point.isEmpty()) {
        return false;
    }
    QFile file(path);
    if (file.size() == point.size() && file.open(QIODevice::ReadOnly) && file.readAll() == point) {
        return true;
    }
    file.close();
    return writeOutputFile(path, point, "Error while writing in the public key file");
}

}  // namespace

bool Preparation::signECDSA(unsigned char* keyPath, SignedImage** image, bool writePublicKey, char* /*reserved*/) {
    if (keyPath == nullptr || image == nullptr || *image == nullptr) {
        return reportError("A private key and an image are needed for a signature");
    }
    SignedImage::Content& content = *(*image)->content_;
    if (!content.hasSignedPart || content.footerHead.isEmpty()) {
        return reportError("The image has no %s to sign", content.hasSignedPart ? "footer" : "part");
    }
    if (content.algorithm != 0) {
        return reportError("Unknown signature algorithm %u, only 0 (ECDSA on NIST prime256v1) is supported",
                           unsigned{content.algorithm});
    }
    const QString path = QString::fromUtf8(reinterpret_cast<const char*>(keyPath));
    const P256Key key = readP256PrivateKey(path);
    if (!key) {
        return false;
    }
    Signature signature{};
    if (!signBytes(key, content.signedPart, content.footerHead, signature)) {
        ERR_clear_error();
        return reportError("The image can't be signed with the key %s", qUtf8Printable(path));
    }
    if (!verifyBytes(key, content.signedPart, content.footerHead, signature)) {
        ERR_clear_error();
        return reportError("The signature that was made with the key %s doesn't verify", qUtf8Printable(path));
    }
    if (writePublicKey && !writePublicKeyFile(key, publicKeyPath(path))) {
        return false;
    }
    content.signature = QByteArray(reinterpret_cast<const char*>(signature.data()), signatureSize);
    return true;
}
