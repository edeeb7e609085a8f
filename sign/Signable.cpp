#include "sign/Signable.h"

#include "Preparation/primitives/Sha256.h"
#include "display/Display.h"
#include "files/byteWriter.h"
#include "files/readWhole.h"
#include "formats/signedBinaryLayout.h"
#include "formats/signedImageLayout.h"
#include "formats/signedPart.h"

#include <QFile>

#include <algorithm>
#include <limits>

namespace sign {

namespace {

// The size of a binary is a 32-bit number in both formats.
constexpr qint64 maxBinary = std::numeric_limits<std::uint32_t>::max();

bool digestOf(std::initializer_list<QByteArrayView> pieces, QByteArray& digest) {
    Sha256Digest made{};
    if (!sha256(pieces, made)) {
        return reportError("OpenSSL doesn't offer SHA-256");
    }
    digest = QByteArrayView(made).toByteArray();
    return true;
}

bool prepareImage(const QByteArray& binary, Signable& signable) {
    const ImageMark* const mark = findSignedPart(binary, signable.signedSize);
    if (mark == nullptr) {
        return reportError("The binary isn't an image of a known kind, it has no mark");
    }
    const QByteArray text = QByteArray(mark->text).trimmed();
    signable.kindText = text.mid(text.indexOf(": ") + 2);
    const QByteArray head = signedFooter::head(signable.version, signedFooter::ecdsaP256Sha256,
                                               static_cast<std::uint32_t>(signable.signedSize));
    signable.beforeSignature = binary + head;
    return digestOf({QByteArrayView(binary).first(signable.signedSize), head}, signable.digest);
}

bool prepareWireless(const QByteArray& binary, Signable& signable) {
    QByteArray sizeField;
    appendU32(sizeField, static_cast<std::uint32_t>(binary.size()));
    signable.beforeSignature = binary;
    // The field's bytes after the binary's end don't exist: the signature is in their place.
    for (qsizetype i = 0; i < sizeField.size() && signedBinary::sizeOffset + i < binary.size(); ++i) {
        signable.beforeSignature[signedBinary::sizeOffset + i] = sizeField.at(i);
    }
    signable.signedSize = binary.size();
    return digestOf({signable.beforeSignature}, signable.digest);
}

}  // namespace

token::SignatureKind signatureKindOf(Format format) {
    return format == Format::image ? token::SignatureKind::ecdsaP256 : token::SignatureKind::rsa2048;
}

bool readSignable(Format format, std::uint32_t version, const QString& path, Signable& signable) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return reportError("The binary %s can't be opened : %s", qUtf8Printable(path),
                           qUtf8Printable(file.errorString()));
    }
    QByteArray binary;
    switch (readWhole(file, maxBinary, binary)) {
        case WholeStatus::done:
            break;
        case WholeStatus::tooLong:
            return reportError("The binary %s has more than %lld bytes", qUtf8Printable(path), maxBinary);
        case WholeStatus::noMemory:
            return reportError("There is no memory for the binary %s", qUtf8Printable(path));
        case WholeStatus::failed:
            return reportError("The binary %s can't be read : %s", qUtf8Printable(path),
                               qUtf8Printable(file.errorString()));
    }
    if (binary.isEmpty()) {
        return reportError("The binary %s is empty", qUtf8Printable(path));
    }
    Signable made;
    made.format = format;
    made.version = version;
    made.binarySize = binary.size();
    if (!digestOf({binary}, made.binaryDigest) ||
        !(format == Format::image ? prepareImage(binary, made) : prepareWireless(binary, made))) {
        return false;
    }
    signable = made;
    return true;
}

QByteArray withSignature(const Signable& signable, QByteArrayView signature) {
    return signable.beforeSignature + signature.toByteArray();
}

}  // namespace sign
