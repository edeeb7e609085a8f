#pragma once

#include "Preparation/secureImages/AreaPlan.h"

#include <cstdint>

/// The memory of a device for the areas that it receives at a time.
struct RamLimit {
    std::uint32_t ramSize = 0;            ///< bytes; 0 means no limit
    std::uint32_t continuationToken = 0;  ///< address of the device's state between two parts; 0 means no parts
    qsizetype areaHeaderSize = areaHeader::shortHeaderSize;
};

/// Cuts the areas of `plan` so that each area fits the RAM size, or each part of the image if there is a continuation
/// token. False, with a message, if that isn't possible; the plan is then unusable.
[[nodiscard]] bool cutToRam(const RamLimit& limit, AreaPlan& plan);
