#pragma once

#include "Preparation/secureImages/AreaPlan.h"
#include "Preparation/secureImages/imageCipher.h"

/// The differences between the kinds of images that consist of areas.
struct AreaImageForm {
    QByteArrayView magic;  ///< 8 bytes
    ImageKind kind = ImageKind::install;
    std::uint16_t protocolVersion = 1;
    qsizetype areaHeaderSize = areaHeader::shortHeaderSize;
    std::uint8_t imageVersion = 0;
    ImageIv baseIv{};
};

/// Makes the image: the file header and all areas of `plan`, encrypted with `cipher`, which has the image key. Empty,
/// with a message, on failure.
[[nodiscard]] QByteArray encryptAreas(const AreaImageForm& form, const AreaPlan& plan, AesGcm& cipher);
