#pragma once

#include "Preparation/secureImages/AreaPlan.h"

#include <cstdint>

/// The limit on the areas that a device receives at a time.
struct RamLimit {
    std::uint32_t ramSize = 0;  ///< bytes; 0 means no limit
    /// The address where the device stores its progress between two parts; 0 if the image has no parts.
    std::uint32_t continuationToken = 0;
    qsizetype areaHeaderSize = areaHeader::shortHeaderSize;
};

/// Cuts the areas of `plan`. Without a continuation token, each area then fits the RAM size. With a token, each part of
/// the image fits the RAM size. False, with a message, if that isn't possible; `plan` is then unchanged.
[[nodiscard]] bool cutToRam(const RamLimit& limit, AreaPlan& plan);
