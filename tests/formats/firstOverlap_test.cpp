#include "formats/firstOverlap.h"

#include "files/segments.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>

namespace {

std::optional<std::pair<std::size_t, std::size_t>> firstOfAllPairs(const std::vector<AddressRange>& ranges) {
    for (std::size_t i = 0; i < ranges.size(); ++i) {
        for (std::size_t j = i + 1; j < ranges.size(); ++j) {
            if (rangesOverlap(ranges[i].address, ranges[i].end, ranges[j].address, ranges[j].end)) {
                return std::pair(i, j);
            }
        }
    }
    return std::nullopt;
}

TEST(FirstOverlap, FindsThePairThatComparingAllPairsFinds) {
    std::mt19937 engine(1);
    const auto random = [&engine] { return static_cast<std::uint32_t>(engine()); };
    for (std::uint32_t trial = 0; trial < 20000; ++trial) {
        // The ranges are near the wrap of 32-bit addresses. Every other trial also has ends before starts.
        const std::uint32_t width = 4 + random() % 40;
        std::vector<AddressRange> ranges(random() % 9);
        for (AddressRange& range : ranges) {
            range.address = 0xFFFFFFFAU + random() % width;
            range.end = trial % 2 == 0 ? range.address + random() % 4 : 0xFFFFFFFAU + random() % width;
        }
        ASSERT_EQ(firstOverlap(ranges), firstOfAllPairs(ranges)) << trial;
    }
}

TEST(FirstOverlap, TakesAFullImageWithoutComparingAllPairs) {
    std::vector<AddressRange> ranges;
    for (std::uint32_t i = 0; i < 65534; ++i) {
        ranges.push_back({i * 16, i * 16 + 16});
    }
    ranges.push_back({65533 * 16 + 8, 65533 * 16 + 24});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(firstOverlap(ranges), std::pair(std::size_t{65533}, std::size_t{65534}));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
