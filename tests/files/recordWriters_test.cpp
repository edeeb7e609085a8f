#include "files/openFile.h"
#include "files/recordFiles.h"
#include "files/segments.h"
#include "tests/files/segmentText.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace {

FileData image(const std::vector<std::pair<std::uint32_t, int>>& segments) {
    FileData file;
    for (const auto& [address, size] : segments) {
        file.segments.push_back({address, static_cast<std::uint32_t>(size), QByteArray(size, '\x0A')});
        ++file.segmentCount;
    }
    return file;
}

TEST(RecordWriters, WriteTheirForms) {
    const TempFolder folder;
    ASSERT_TRUE(writeHexFile({}, image({{0x08000000, 40}}), folder.path("a.hex")));
    EXPECT_EQ(folder.read("a.hex"), ":020000040800F2\n:20000000" + QByteArray("0A").repeated(32) + "A0\n:08002000" +
                                        QByteArray("0A").repeated(8) + "88\n" +
                                        QByteArray(":00002800D8\n").repeated(254) + ":00000001FF\n");
    // A run of records ends at the end of a page; the next one begins with the upper half of the address.
    ASSERT_TRUE(writeHexFile({}, image({{0x1FFC0, 65}}), folder.path("a.hex")));
    EXPECT_EQ(folder.read("a.hex").count('\n'), 1 + 2 + 1 + 256 + 1);
    EXPECT_EQ(folder.read("a.hex").split('\n')[3], ":020000040002F8");
    ASSERT_TRUE(writeHexFile({}, image({{0x20000, 8193}}), folder.path("a.hex")));
    EXPECT_EQ(folder.read("a.hex").split('\n')[257], ":020000040002F8");

    const std::pair<std::uint32_t, const char*> records[] = {
        {0xFFFE, "S105fffe0A0AE9\nS9030000FC\n"},
        {0xFFFF, "S20600ffff0A0AE7\nS804000000FB\n"},
        {0xABCDEF, "S206abcdef0A0A7E\nS804000000FB\n"},
        {0x0800ABCD, "S3070800abcd0A0A64\nS70500000000FA\n"},
    };
    for (const auto& [address, text] : records) {
        ASSERT_TRUE(writeSrecFile({}, image({{address, 2}}), folder.path("a.srec")));
        EXPECT_EQ(folder.read("a.srec"), text);
    }

    FileLoadContext context;
    context.fillByte = 0xEE;
    EXPECT_EQ(writeBinFile(context, image({{0x1000, 2}, {0x1004, 1}}), folder.path("a.bin")), 5);
    EXPECT_EQ(folder.read("a.bin"), "\x0A\x0A\xEE\xEE\x0A");
    EXPECT_EQ(writeBinFile(context, {}, folder.path("b.bin")), 0);
    EXPECT_TRUE(QFile::exists(folder.path("b.bin")));
}

// Tests sizes near the size of a record, a text that is larger than the parser's window, and many pieces in descending
// order.
TEST(RecordWriters, WhatIsWrittenReadsBack) {
    static constexpr FormatRow formats[] = {{".hex", readRecordFile}, {".srec", readRecordFile}};
    std::vector<std::pair<std::uint32_t, int>> pieces = {{0, 1},       {0x40, 31},        {0x100, 32},
                                                         {0xFFE1, 70}, {0x2FFF0, 300000}, {0xFFFFFFF0, 16}};
    for (std::uint32_t i = 20000; i > 0; --i) {
        pieces.emplace_back(0x08000000 + i * 0x100, 33);
    }
    FileData file = image(pieces);
    const TempFolder folder;
    FileData part = image({pieces.begin(), pieces.begin() + 1000});
    ASSERT_TRUE(writeHexFile({}, part, folder.path("a.hex")));
    ASSERT_TRUE(writeSrecFile({}, file, folder.path("a.srec")));
    sortSegments(file);
    sortSegments(part);
    FileLoadContext context;
    context.formats = formats;
    FileData* back = nullptr;
    ASSERT_TRUE(openFile(context, folder.path("a.srec"), back));
    EXPECT_TRUE(segmentText(*back) == segmentText(file));
    ASSERT_TRUE(openFile(context, folder.path("a.hex"), back));
    EXPECT_TRUE(segmentText(*back) == segmentText(part));
}

TEST(RecordWriters, FailuresKeepTheOlderFile) {
    const TempFolder folder;
    const QString full = QStringLiteral("/dev/full");
    const FileData small = image({{0, 1}, {0x100, 1}});
    const MessageCapture capture;
    EXPECT_EQ(writeBinFile({}, image({{0, 1}, {0x20000000, 1}}), folder.write("old.bin", "old")), -1);
    EXPECT_EQ(folder.read("old.bin"), "old");
    EXPECT_EQ(writeBinFile({}, image({{0, 1}, {0x20000000, 1}}), folder.path("none/a.bin")), -1);
    EXPECT_FALSE(writeHexFile({}, small, folder.path("none/a.hex")));
    EXPECT_FALSE(writeSrecFile({}, small, full));
    EXPECT_EQ(writeBinFile({}, small, full), -1);
    const std::string fullExists = "Warning: The file full already exists, it will be overwritten";
    const std::string notWritten = "Error: Error occured while writing in the file";
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{
                                   "Warning: The file old.bin already exists, it will be overwritten",
                                   "Error: Segments are widely spaced. Unable to create a binary file",
                                   "Error: Unable to create the file a.bin", "Error: Unable to create the file a.hex",
                                   fullExists, notWritten, fullExists, notWritten}));
}

}  // namespace
