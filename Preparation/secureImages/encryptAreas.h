#pragma once

#include "Preparation/secureImages/AreaPlan.h"
#include "Preparation/secureImages/imageCipher.h"

/// What the kinds of images that consist of areas differ in.
struct AreaImageForm {
    QByteArrayView magic;  ///< 8 bytes
    ImageKind kind = ImageKind::install;
    std::uint16_t protocolVersion = 1;
    qsizetype areaHeaderSize = areaHeader::shortHeaderSize;
    std::uint8_t imageVersion = 0;
    ImageIv baseIv{};
};

/// Writes the file header and every area of `plan`, each encrypted with `cipher`, which holds the image key. Empty,
/// with a message, on failure.
[[nodiscard]] QByteArray encryptAreas(const AreaImageForm& form, const AreaPlan& plan, AesGcm& cipher);
