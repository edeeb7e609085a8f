#pragma once

#include "formats/signedImageLayout.h"
#include "preparation-interface/SignedImage.h"

/// The footer, the signed part and the signature of a SignedImage.
struct SignedImage::Content {
    std::uint8_t algorithm = signedFooter::ecdsaP256Sha256;
    std::uint32_t version = 0;
    bool hasSignedPart = false;  // whether the signed part is set; it may be empty
    QByteArray signedPart;
    QByteArray footerHead;  // empty until it is built
    QByteArray publicKey;   // written after the image; empty if the caller doesn't want it
    QString publicKeyFile;  // path of the file for publicKey
    QByteArray signature;   // empty until the image is signed; cleared when a signed value changes
};
