#include "files/segments.h"
#include "tests/files/segmentText.h"
#include "tests/support/MessageCapture.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using Pieces = std::vector<std::pair<std::uint32_t, QByteArray>>;

FileData fileOf(const Pieces& pieces) {
    FileData file;
    for (const auto& [address, bytes] : pieces) {
        file.segments.push_back({address, static_cast<std::uint32_t>(bytes.size()), bytes});
        ++file.segmentCount;
    }
    return file;
}

/// Up to eleven pieces of up to 23 bytes each, at random addresses from `base` to `base + span`.
FileData randomFile(std::mt19937& generator, std::uint32_t base, std::uint32_t span) {
    const auto upTo = [&generator](std::uint32_t limit) { return static_cast<std::uint32_t>(generator()) % limit; };
    Pieces pieces(upTo(12));
    for (auto& piece : pieces) {
        piece = {base + upTo(span), QByteArray(upTo(24), static_cast<char>(upTo(256)))};
    }
    return fileOf(pieces);
}

/// Applies the joining rules to one pair of neighbours at a time. Returns whether any two overlap.
bool compactOneByOne(FileData& file) {
    bool overlap = false;
    for (std::size_t i = 0; i + 1 < file.segments.size();) {
        FileSegment& a = file.segments[i];
        const FileSegment b = file.segments[i + 1];
        const std::uint32_t end = a.address + a.size;
        const std::uint32_t offset = b.address - a.address;
        if (b.address >= end && b.address - end > 31) {
            ++i;
            continue;
        }
        overlap = overlap || b.address < end;
        const bool grows = b.address >= end || b.address + b.size > end;
        a.size = grows ? offset + b.size : a.size;
        a.data = a.data.leftJustified(a.size, '\xFF').replace(offset, std::min(b.size, a.size - offset), b.data);
        a.data.truncate(a.size);
        file.segments.erase(file.segments.begin() + static_cast<std::ptrdiff_t>(i) + 1);
        --file.segmentCount;
    }
    return overlap;
}

TEST(Segments, CompactingFollowsTheRules) {
    struct Row {
        Pieces pieces;
        const char* segments;
        bool overlap;
    };
    const Row rows[] = {
        {{{0, "a"}, {5, "b"}, {14, "c"}}, "0:61ffffffff62ffffffffffffffff63", false},
        {{{0, "abcd"}, {1, "xy"}}, "0:61787964", true},
        {{{0, "ab"}, {1, "xy"}}, "0:617879", true},
        {{{8, ""}, {8, "a"}, {9, ""}}, "8:61", false},
        {{{0xFFFFFFFC, "abc"}, {0xFFFFFFFD, "wxyz"}}, "fffffffc:617778", true},
        {{{0xFFFFFFFE, "ab"}, {0xFFFFFFFF, "x"}}, "fffffffe:6162 ffffffff:78", false},
    };
    for (const Row& row : rows) {
        FileData file = fileOf(row.pieces);
        EXPECT_EQ(compactSegments({}, file), row.overlap) << row.segments;
        EXPECT_EQ(segmentText(file), row.segments);
    }
    std::mt19937 generator(5);
    for (int round = 0; round < 3000; ++round) {
        FileData file = randomFile(generator, round % 2 == 0 ? 0x1000 : 0xFFFFFF80, 0x100);
        sortSegments(file);
        FileData expected = file;
        EXPECT_EQ(compactSegments({}, file), compactOneByOne(expected));
        ASSERT_EQ(segmentText(file), segmentText(expected));
    }
}

bool merges(const QList<FileData*>& files) {
    const MessageCapture capture;
    FileLoadContext context;
    FileData* merged = nullptr;
    const bool done = mergeFiles(context, files, merged);
    EXPECT_EQ(done, merged != nullptr);
    EXPECT_TRUE(done ? capture.texts().empty()
                     : capture.texts() ==
                           std::vector<std::string>{"Error: Overlap between segments, Unable to merge files"});
    return done;
}

TEST(Merge, SharesBuffersAndSorts) {
    FileData first = fileOf({{0x20, "b"}, {0x10, "a"}, {0x18, ""}});
    FileData second = fileOf({{0x18, "c"}});
    FileLoadContext context;
    FileData* merged = nullptr;
    // Two segments have the same address, and one of them isn't empty.
    ASSERT_FALSE(mergeFiles(context, {&first, &second}, merged));
    first.segments.pop_back();
    ASSERT_TRUE(mergeFiles(context, {&first, &second}, merged));
    EXPECT_EQ(segmentText(*merged), "10:61 18:63 20:62");
    EXPECT_EQ(merged->segments[1].data.constData(), second.segments[0].data.constData());
    EXPECT_TRUE(merges({}));

    FileData low = fileOf({{0x1000, QByteArray(0x1000, 'a')}});
    FileData high = fileOf({{0x1800, QByteArray(0x800, 'a')}});
    EXPECT_TRUE(merges({&low, &high}));  // both segments end at the same address
    EXPECT_FALSE(merges({&high, &low}));
}

// Compares the quick check with the rule for each pair. The ranges touch, nest, wrap, or are empty.
TEST(Merge, RefusesExactlyWhatThePairwiseRuleRefuses) {
    std::mt19937 generator(6);
    int refused = 0;
    for (int round = 0; round < 6000; ++round) {
        const std::uint32_t base = round % 2 == 0 ? 0x1000 : 0xFFFFFF00;
        FileData first = randomFile(generator, base, 0x400);
        FileData second = randomFile(generator, base, 0x400);
        bool overlap = false;
        for (const FileSegment& s : first.segments) {
            for (const FileSegment& t : second.segments) {
                overlap = overlap || rangesOverlap(s.address, s.address + s.size, t.address, t.address + t.size);
            }
        }
        refused += overlap ? 1 : 0;
        ASSERT_EQ(merges({&first, &second}), !overlap);
    }
    EXPECT_TRUE(refused > 1000 && refused < 5000) << refused;
}

}  // namespace
