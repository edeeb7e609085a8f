#pragma once

#include "token/SigningKey.h"

#include <QByteArray>
#include <QString>

#include <cstdint>

namespace sign {

/// The formats of signed files.
enum class Format {
    image,     ///< an image with a footer, signed with ECDSA on P-256
    wireless,  ///< a binary of the wireless chip, signed with RSA
};

/// A binary that is ready for its signature.
struct Signable {
    Format format = Format::image;
    std::uint32_t version = 0;  ///< version of an image
    QByteArray kindText;        ///< kind of an image, in words
    qsizetype binarySize = 0;
    QByteArray binaryDigest;     ///< SHA-256 of the binary, as it was read
    qsizetype signedSize = 0;    ///< number of bytes of an image that are signed
    QByteArray beforeSignature;  ///< the signed file up to the signature
    QByteArray digest;           ///< SHA-256 of the bytes that are signed
};

[[nodiscard]] token::SignatureKind signatureKindOf(Format format);

/// Reads a binary and prepares it. False, with a message, if it can't be read or has no part to sign.
[[nodiscard]] bool readSignable(Format format, std::uint32_t version, const QString& path, Signable& signable);

/// The complete signed file.
[[nodiscard]] QByteArray withSignature(const Signable& signable, QByteArrayView signature);

}  // namespace sign
