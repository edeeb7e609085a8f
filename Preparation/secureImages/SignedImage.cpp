#include "preparation-interface/SignedImage.h"

#include "Preparation/secureImages/signedImageContent.h"
#include "display/Display.h"
#include "files/byteWriter.h"
#include "files/outputFile.h"
#include "files/readExactly.h"
#include "formats/signedImageLayout.h"

#include <QFile>

namespace {

void warnOfPublicKey(const char* reason, const QString& path) {
    displayMessage(MessageKind::warning, "The public key file %s %s, the image is signed nevertheless",
                   qUtf8Printable(path), reason);
}

// Writes the public key, unless the file already contains it. The user didn't choose the file's name, so a file of that
// name may be something else. A file of the same size is replaced, because it may contain another public key. A file of
// another size is replaced only if it is empty. A failure here doesn't invalidate the signature.
void writePublicKeyFile(const QByteArray& point, const QString& path) {
    QFile file(path);
    if (file.size() == point.size() && file.open(QIODevice::ReadOnly) && file.readAll() == point) {
        return;
    }
    if (file.size() != 0 && file.size() != point.size()) {
        warnOfPublicKey("has other content", path);
        return;
    }
    file.close();
    warnOfOverwriting(path);
    if (replaceFile(path, point) != ReplaceResult::done) {
        warnOfPublicKey("can't be written", path);
    }
}

}  // namespace

SignedImage::SignedImage() : content_(std::make_unique<Content>()) {
}

SignedImage::~SignedImage() = default;

void SignedImage::setSigSize(std::uint8_t algorithm) {
    content_->algorithm = algorithm;
}

void SignedImage::setSigImgVer(std::uint32_t version) {
    content_->version = version;
}

void SignedImage::setSigImgFooter() {
    content_->footerHead = signedFooter::head(content_->version, content_->algorithm,
                                              static_cast<std::uint32_t>(content_->signedPart.size()));
    content_->signature.clear();
}

void SignedImage::setSigImgBin(FileData** part) {
    const FileData* file = part == nullptr ? nullptr : *part;
    const FileSegment segment = file == nullptr || file->segments.empty() ? FileSegment() : file->segments.front();
    content_->hasSignedPart = file != nullptr && !file->segments.empty();
    content_->signedPart = segment.data.left(static_cast<qsizetype>(segment.size));
    content_->signature.clear();
    if (!content_->footerHead.isEmpty()) {
        content_->footerHead.truncate(signedFooter::lengthOffset);
        appendU32(content_->footerHead, static_cast<std::uint32_t>(content_->signedPart.size()));
    }
}

// The interface requires that both arguments are passed by value.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool SignedImage::createSignedImage(QString path, QByteArray image) {
    if (content_->signature.isEmpty()) {
        return reportError("The image isn't signed, nothing to write to %s", qUtf8Printable(path));
    }
    if (!image.startsWith(content_->signedPart)) {
        return reportError("The image doesn't begin with the part that was signed");
    }
    const qsizetype size = image.size() + content_->footerHead.size() + content_->signature.size();
    if (!canAllocate(size)) {
        return reportError("Unable to allocate memory");
    }
    QByteArray signedImage;
    signedImage.reserve(size);
    signedImage.append(image).append(content_->footerHead).append(content_->signature);
    if (!writeOutputFile(path, signedImage, "Error while writing in the signed image file")) {
        return false;
    }
    if (!content_->publicKey.isEmpty()) {
        writePublicKeyFile(content_->publicKey, content_->publicKeyFile);
    }
    return true;
}
