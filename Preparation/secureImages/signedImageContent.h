#pragma once

#include "formats/signedImageLayout.h"
#include "preparation-interface/SignedImage.h"

/// What a SignedImage holds of its footer and of what it signs.
struct SignedImage::Content {
    std::uint8_t algorithm = signedFooter::ecdsaP256Sha256;
    std::uint32_t version = 0;
    bool hasSignedPart = false;  // the signed part may be empty, but it has to be set
    QByteArray signedPart;
    QByteArray footerHead;  // empty until it is built
    QByteArray publicKey;   // to be written once the image is; empty if it isn't asked for
    QString publicKeyFile;  // where
    QByteArray signature;   // empty until the image is signed; gone again when anything that it covers changes
};
