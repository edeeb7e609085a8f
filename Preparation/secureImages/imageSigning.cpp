#include "Preparation/primitives/P256Key.h"
#include "Preparation/primitives/Sha256.h"
#include "Preparation/primitives/ecdsa.h"
#include "Preparation/primitives/missingAlgorithm.h"
#include "Preparation/secureImages/signedImageContent.h"
#include "display/Display.h"
#include "preparation-interface/Preparation.h"
#include "preparation-interface/publicKeyPath.h"

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
    Sha256Digest digest{};
    QByteArray der;
    QByteArray signature;
    if (!sha256({content.signedPart, content.footerHead}, digest) ||
        !signEcdsa(key.get(), QByteArrayView(digest), der) || !toRawSignature(der, signature)) {
        reportMissing({Algorithm::sha256, Algorithm::ecdsa});
        return reportError("The image can't be signed with the key %s", qUtf8Printable(path));
    }
    // Verifies the bytes that are written to the image, so that a fault in their encoding is found, too.
    if (!toDerSignature(signature, der) || verifyEcdsa(key.get(), QByteArrayView(digest), der) != EcdsaCheck::holds) {
        return reportError("The signature that was made with the key %s doesn't verify", qUtf8Printable(path));
    }
    if (writePublicKey) {
        const QByteArray point = p256PublicPoint(key);
        if (point.isEmpty()) {
            return false;
        }
        content.publicKey = point;
        content.publicKeyFile = publicKeyPath(path);
    }
    content.signature = signature;
    return true;
}
