#pragma once

#include "files/FileData.h"

#include <QByteArray>
#include <QString>

#include <memory>

/// The parts of a signed image: the signed part, its footer and the signature.
///
/// The caller sets the algorithm, the version and the footer, then the signed part. Preparation::signECDSA makes the
/// signature. createSignedImage writes the image.
class SignedImage {
  public:
    SignedImage();
    ~SignedImage();
    SignedImage(const SignedImage&) = delete;
    SignedImage& operator=(const SignedImage&) = delete;

    /// Sets the signature algorithm. The only supported number is 0, ECDSA on NIST prime256v1 with SHA-256.
    void setSigSize(std::uint8_t algorithm);
    void setSigImgVer(std::uint32_t version);
    /// Builds the 16-byte footer head from the values set so far.
    void setSigImgFooter();
    /// Sets the signed part of the image, which is the first segment of `*part`. The caller keeps ownership.
    void setSigImgBin(FileData** part);
    /// Writes `image`, the footer head and the signature to `path`. False, with a message, if there is no signature or
    /// the file can't be written.
    [[nodiscard]] bool createSignedImage(QString path, QByteArray image);

  private:
    friend class Preparation;
    struct Content;
    std::unique_ptr<Content> content_;
};
