#pragma once

#include "preparation-interface/SignedImage.h"

/// What a SignedImage holds. The layout of the footer:
///
///     offset  size  field
///          0     4  "VXSG"
///          4     4  image version
///          8     1  algorithm: 0, ECDSA on NIST prime256v1 with SHA-256
///          9     3  zero
///         12     4  length of the signed part
///         16    64  signature over SHA-256(signed part || the 16 bytes above): r, then s, big-endian
struct SignedImage::Content {
    std::uint8_t algorithm = 0;
    std::uint32_t version = 0;
    bool hasSignedPart = false;  // the signed part may be empty, but it has to be set
    QByteArray signedPart;
    QByteArray footerHead;  // empty until it is built
    QByteArray signature;   // empty until the image is signed; gone again when anything that it covers changes
};
