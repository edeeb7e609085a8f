#include "files/hexPairs.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

// Tests all lengths near the width of a vector and all characters, in buffers of exactly the required size.
TEST(HexPairs, VectorFormAgreesWithPortableForm) {
    std::mt19937 generator(1);
    for (std::size_t pairs = 1; pairs <= 40; ++pairs) {
        std::vector<char> text(2 * pairs + hexTextSlack, '\0');
        for (int round = 0; round < 600; ++round) {
            std::generate_n(text.begin(), 2 * pairs, [&] { return "0123456789abcdefABCDEF"[generator() % 22]; });
            text[generator() % text.size()] = static_cast<char>(round);
            std::vector<std::uint8_t> expected(pairs);
            std::vector<std::uint8_t> found(pairs + hexBytesSlack);
            const HexDecoding portable = decodeHexPairsPortable(text.data(), pairs, expected.data());
            const HexDecoding decoded = decodeHexPairs(text.data(), pairs, found.data());
            found.resize(pairs);
            ASSERT_EQ(decoded.valid, portable.valid);
            ASSERT_TRUE(!decoded.valid || (found == expected && decoded.sum == portable.sum));
        }
    }
}
