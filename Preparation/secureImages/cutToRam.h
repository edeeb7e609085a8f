#pragma once

#include "Preparation/secureImages/AreaPlan.h"

#include <cstdint>

/// The memory that a device has for what it is given of an image at a time.
struct RamLimit {
    std::uint32_t ramSize = 0;            ///< bytes; 0 means no limit
    std::uint32_t continuationToken = 0;  ///< where the device keeps its place between two parts; 0 means no parts
    qsizetype areaHeaderSize = areaHeader::shortHeaderSize;
};

/// Cuts the areas of `plan` so that each, or with a continuation token each part of the image, fits into the RAM size.
/// False, with a message, if that can't be done; the plan is of no use then.
[[nodiscard]] bool cutToRam(const RamLimit& limit, AreaPlan& plan);
