#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

/// An address range of an image. `end` is the sum of address and size in 32 bits, and may have wrapped.
struct AddressRange {
    std::uint32_t address = 0;
    std::uint32_t end = 0;
};

/// The positions of the first two ranges for which rangesOverlap() is true: the first range that overlaps a later one,
/// and the first later range that it overlaps. Needs n log n steps, because an image may contain 65,535 areas.
[[nodiscard]] std::optional<std::pair<std::size_t, std::size_t>> firstOverlap(const std::vector<AddressRange>& ranges);
