#include "Preparation/primitives/P256Key.h"
#include "Preparation/primitives/opensslObjects.h"
#include "Preparation/primitives/rawSignature.h"
#include "Preparation/secureImages/SignedImageContent.h"
#include "display/Display.h"
#include "files/outputFile.h"
#include "preparation-interface/Preparation.h"
#include "preparation-interface/publicKeyPath.h"

#include <QFile>

#include <openssl/err.h>
#include <openssl/evp.h>

#include <array>

namespace {

bool signBytes(const P256Key& key, QByteArrayView part, QByteArrayView footerHead, QByteArray& signature) {
    const DigestContext context(EVP_MD_CTX_new());
    std::array<unsigned char, 72> der{};  // a sequence of two integers of up to 33 bytes
    std::size_t size = der.size();
    return context && EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) == 1 &&
           EVP_DigestSignUpdate(context.get(), part.data(), unsignedSize(part)) == 1 &&
           EVP_DigestSignUpdate(context.get(), footerHead.data(), unsignedSize(footerHead)) == 1 &&
           EVP_DigestSignFinal(context.get(), der.data(), &size) == 1 &&
           toRawSignature(QByteArrayView(der).first(static_cast<qsizetype>(size)), signature);
}

// Starts from the bytes that go into the image, so that a fault in their encoding shows as well.
bool verifyBytes(const P256Key& key, QByteArrayView part, QByteArrayView footerHead, QByteArrayView signature) {
    const DigestContext context(EVP_MD_CTX_new());
    QByteArray der;
    return context && toDerSignature(signature, der) &&
           EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) == 1 &&
           EVP_DigestVerifyUpdate(context.get(), part.data(), unsignedSize(part)) == 1 &&
           EVP_DigestVerifyUpdate(context.get(), footerHead.data(), unsignedSize(footerHead)) == 1 &&
           EVP_DigestVerifyFinal(context.get(), unsignedBytes(der), unsignedSize(der)) == 1;
}

// A key signs many images: only its first one writes the public key. Nobody named the file, so it may be anything.
bool writePublicKeyFile(const P256Key& key, const QString& path) {
    const QByteArray point = p256PublicPoint(key);
    if (point.isEmpty()) {
        return false;
    }
    QFile file(path);
    if (file.size() == point.size() && file.open(QIODevice::ReadOnly) && file.readAll() == point) {
        return true;
    }
    if (file.size() != 0 && file.size() != point.size()) {
        return reportError("The file %s is no public key, it is left as it is", qUtf8Printable(path));
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
    if (content.algorithm != signedFooter::ecdsaP256Sha256) {
        return reportError("Unknown signature algorithm %u, only 0 (ECDSA on NIST prime256v1) is supported",
                           unsigned{content.algorithm});
    }
    const QString path = QString::fromUtf8(reinterpret_cast<const char*>(keyPath));
    const P256Key key = readP256PrivateKey(path);
    if (!key) {
        return false;
    }
    QByteArray signature;
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
    content.signature = signature;
    return true;
}
