#include "Preparation/src/DCU/keccakf400.h"

#include <gtest/gtest.h>

#include <bit>
#include <random>

namespace {

// FIPS 202, algorithm 5.
unsigned roundConstantBit(std::size_t t) {
    unsigned r = 1;
    for (std::size_t i = 0; i < t; ++i) {
        r = (r << 1) ^ (r >> 7 != 0 ? 0x171U : 0U);
    }
    return r & 1;
}

// FIPS 202, section 3.2, lane by lane. It computes rotations and constants by their rules instead of reading tables.
std::array<std::uint16_t, 25> roundByDefinition(const std::array<std::uint16_t, 25>& a, std::size_t round) {
    std::array<std::uint16_t, 25> mixed = a;
    for (std::size_t i = 0; i < 25; ++i) {
        for (std::size_t y = 0; y < 25; y += 5) {
            mixed[i] ^= static_cast<std::uint16_t>(a[(i + 4) % 5 + y] ^ std::rotl(a[(i + 1) % 5 + y], 1));
        }
    }
    std::array<std::uint16_t, 25> moved = {mixed[0]};
    for (std::size_t t = 0, x = 1, y = 0; t < 24; ++t) {
        const std::size_t newY = (2 * x + 3 * y) % 5;
        moved[y + 5 * newY] = std::rotl(mixed[x + 5 * y], static_cast<int>((t + 1) * (t + 2) / 2 % 16));
        x = y;
        y = newY;
    }
    std::array<std::uint16_t, 25> result = moved;
    for (std::size_t i = 0; i < 25; ++i) {
        const std::size_t y = i - i % 5;
        result[i] ^= static_cast<std::uint16_t>(~moved[(i + 1) % 5 + y] & moved[(i + 2) % 5 + y]);
    }
    for (std::size_t j = 0; j <= 4; ++j) {
        result[0] ^= static_cast<std::uint16_t>(roundConstantBit(j + 7 * round) << ((1U << j) - 1));
    }
    return result;
}

TEST(KeccakF400, RoundsFollowTheDefinition) {
    std::mt19937 random(1);
    for (std::size_t round = 0; round < 20; ++round) {
        KeccakF400State state;
        for (std::uint16_t& lane : state.lanes) {
            lane = static_cast<std::uint16_t>(random() & 0xFFFF);
        }
        const auto expected = roundByDefinition(state.lanes, round);
        keccakF400Round(state, round);
        EXPECT_EQ(state.lanes, expected) << round;
    }
}

TEST(KeccakF400, BytesAreLowByteFirst) {
    KeccakF400State state;
    const std::array<std::uint8_t, 4> in = {1, 2, 3, 4};
    keccakF400SetBytes(state, 3, in);
    EXPECT_EQ(state.lanes[2], 0x0302);
    std::array<std::uint8_t, 8> out{};
    keccakF400GetBytes(state, out);
    EXPECT_EQ(out, (std::array<std::uint8_t, 8>{0, 0, 0, 1, 2, 3, 4, 0}));
    EXPECT_DEATH(keccakF400SetBytes(state, 47, in), "offset \\+ length <= 50");
}

}  // namespace
