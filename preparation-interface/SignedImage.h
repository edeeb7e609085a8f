#pragma once

#include "files/FileData.h"

#include <QByteArray>
#include <QString>

#include <memory>

/// An image on its way to being signed: the signed part, its footer and, once made, the signature.
///
/// Use: set size, version and footer, then the signed part; Preparation::signECDSA signs; createSignedImage writes.
class SignedImage {
  public:
    SignedImage();
    ~SignedImage();
    SignedImage(const SignedImage&) = delete;
    SignedImage& operator=(const SignedImage&) = delete;

    /// The signature algorithm: 0, ECDSA on NIST prime256v1 with SHA-256, is the only one.
    void setSigSize(std::uint8_t algorithm);
    void setSigImgVer(std::uint32_t version);
    /// Builds the 16-byte footer head from the values set so far.
    void setSigImgFooter();
    /// Takes the part of the image that is signed: the first segment of `*part`, which the caller keeps.
    void setSigImgBin(FileData** part);
    /// Writes `image`, the footer head and the signature to `path`. False, with a message, without a signature or
    /// when the file can't be written.
    [[nodiscard]] bool createSignedImage(QString path, QByteArray image);

  private:
    friend class Preparation;
    struct Content;
    std::unique_ptr<Content> content_;
};
