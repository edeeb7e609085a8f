#include "inspect/compare.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using inspect::DifferenceCode;
using inspect::PlacedBytes;

// The expected result comes from a plain model: for each side, an array with one byte for each address.
TEST(InspectCompare, FindsEveryByteThatDiffers) {
    std::mt19937 random(14);
    for (int turn = 0; turn < 2000; ++turn) {
        constexpr int space = 64;
        QByteArray memory[2] = {QByteArray(space, '\0'), QByteArray(space, '\0')};
        QByteArrayList kept;
        std::vector<PlacedBytes> pieces[2];
        kept.reserve(2 * space);
        for (int side = 0; side < 2; ++side) {
            for (int at = static_cast<int>(random() % 4); at < space;) {
                const int size = std::min<int>(1 + static_cast<int>(random() % 20), space - at);
                QByteArray bytes(size, '\0');
                for (char& byte : bytes) {
                    byte = static_cast<char>(1 + random() % 2);
                }
                memory[side].replace(at, size, bytes);
                kept << bytes;
                pieces[side].insert(pieces[side].begin(), {static_cast<std::uint64_t>(at), kept.constLast()});
                at += size + static_cast<int>(random() % 3 == 0 ? random() % 12 : 0);
            }
        }
        QByteArray found(space, ' ');
        for (const inspect::ByteDifference& range : inspect::compareBytes(pieces[0], pieces[1])) {
            const char mark = range.code == DifferenceCode::bytesOnlyInA   ? 'a'
                              : range.code == DifferenceCode::bytesOnlyInB ? 'b'
                                                                           : 'c';
            for (std::uint64_t i = range.from; i <= range.to; ++i) {
                found[static_cast<qsizetype>(i)] = mark;
            }
        }
        for (int i = 0; i < space; ++i) {
            const char a = memory[0].at(i);
            const char b = memory[1].at(i);
            const char expected = a == 0 && b == 0 ? ' ' : b == 0 ? 'a' : a == 0 ? 'b' : a != b ? 'c' : ' ';
            // A changed range may include up to seven equal bytes in a row.
            EXPECT_TRUE(found.at(i) == expected || (expected == ' ' && found.at(i) == 'c' && a != 0))
                << turn << ' ' << i;
        }
    }
}

}  // namespace
