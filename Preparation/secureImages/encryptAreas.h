#pragma once

#include "Preparation/secureImages/AreaPlan.h"
#include "Preparation/secureImages/imageCipher.h"

/// The properties of an image that consists of areas.
struct AreaImageForm {
    QByteArrayView magic;  ///< 8 bytes
    ImageKind kind = ImageKind::install;
    std::uint16_t protocolVersion = 1;
    qsizetype areaHeaderSize = areaHeader::shortHeaderSize;
    std::uint8_t imageVersion = 0;
    ImageIv baseIv{};
};

/// Makes the image: the file header, then all areas of `plan`. Encrypts the payloads with `cipher`, whose key the
/// caller has set. Empty, with a message, on failure.
[[nodiscard]] QByteArray encryptAreas(const AreaImageForm& form, const AreaPlan& plan, AesGcm& cipher);
