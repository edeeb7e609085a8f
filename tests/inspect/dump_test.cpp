#include "inspect/dump.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using inspect::CheckResult;

constexpr int space = 48;
constexpr int none = 0;  // memory without a byte; bytes have the values 1 and 2
constexpr std::uint8_t erased = 1;

/// Fills a part of `memory` with pieces of bytes and returns them.
std::vector<inspect::SourcePiece> randomPieces(std::mt19937& random, std::vector<int>& memory) {
    std::vector<inspect::SourcePiece> pieces;
    const int end = static_cast<int>(random() % (space + 1));
    for (int at = static_cast<int>(random() % 20); at < end;) {
        const int size = std::min<int>(1 + static_cast<int>(random() % 20), end - at);
        inspect::SourcePiece piece{static_cast<std::uint64_t>(at), {}};
        for (int i = at; i < at + size; ++i) {
            memory[static_cast<std::size_t>(i)] = random() % 16 == 0 ? 2 : 1;
            piece.bytes.append(static_cast<char>(memory[static_cast<std::size_t>(i)]));
        }
        pieces.insert(pieces.begin(), piece);
        at += size + static_cast<int>(random() % 3 == 0 ? random() % 12 : 0);
    }
    return pieces;
}

// The expected result comes from a plain model with one entry for each address.
TEST(InspectDump, DecidesLikeAModelOfTheMemory) {
    std::mt19937 random(24);
    int results[3] = {};
    for (int turn = 0; turn < 6000; ++turn) {
        std::vector<int> image(space, none);
        std::vector<int> device(space, none);
        std::vector<bool> isRead(space, false);
        std::vector<bool> isProtected(space, false);
        inspect::Contents contents;
        for (const inspect::SourcePiece& piece : randomPieces(random, image)) {
            inspect::Content& content = contents.list.emplace_back();
            content.hasAddress = true;
            content.address = piece.address;
            content.kind = inspect::ContentKind::firmware;
            content.bytes = piece.bytes;
        }
        inspect::Dump dump;
        dump.erased = erased;
        dump.pieces = randomPieces(random, device);
        for (const inspect::SourcePiece& piece : dump.pieces) {
            const auto end = static_cast<std::uint64_t>(piece.bytes.size() + static_cast<int>(random() % 6));
            dump.spans.push_back({piece.address, std::min<std::uint64_t>(piece.address + end, space)});
            std::fill(isRead.begin() + static_cast<int>(dump.spans.back().from),
                      isRead.begin() + static_cast<int>(dump.spans.back().to), true);
        }
        for (std::uint32_t i = 0; i < random() % 3; ++i) {
            const auto from = random() % space;
            const auto to = from + random() % (space - from);
            dump.unreadable.push_back({from, to});
            std::fill(isProtected.begin() + static_cast<int>(from), isProtected.begin() + static_cast<int>(to), true);
        }
        bool isSame = true;
        bool isComplete = true;
        bool isCompared = false;
        for (std::size_t i = 0; i < space; ++i) {
            if (image[i] == none || isProtected[i]) {
                continue;
            }
            const int inDump = device[i] != none ? device[i] : erased;
            isCompared = isCompared || isRead[i];
            isSame = isSame && (!isRead[i] || image[i] == inDump);
            isComplete = isComplete && (isRead[i] || image[i] == erased);
        }
        const CheckResult expected = !isSame                    ? CheckResult::bad
                                     : isCompared && isComplete ? CheckResult::good
                                                                : CheckResult::unchecked;
        inspect::Description description;
        inspect::proveDump(dump, contents, description);
        ASSERT_EQ(description.checks.size(), 1U) << turn;
        EXPECT_EQ(description.checks.front().result, expected) << turn;
        EXPECT_EQ(description.differences.empty(), expected != CheckResult::bad) << turn;
        ++results[static_cast<int>(expected)];
    }
    for (const int count : results) {
        EXPECT_GT(count, 300);
    }
}

}  // namespace
