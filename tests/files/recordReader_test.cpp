#include "files/openFile.h"
#include "files/recordFiles.h"
#include "tests/files/segmentText.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/outsideTool.h"

#include <gtest/gtest.h>

#include <random>

namespace {

constexpr FormatRow formats[] = {{".hex", readRecordFile}, {".srec", readRecordFile}};

bool read(FileLoadContext& context, const QString& path, FileData*& file) {
    context.formats = formats;
    return openFile(context, path, file);
}

// Each row has the text of a file, the segments that the reader finds, and the last message. A rejected text has no
// segments.
TEST(RecordReader, ReadsOrRefusesWhatTheRecordsSay) {
    struct Row {
        QByteArray text;
        std::string segments, message;
        int line = 1;
    };
    const std::string fill(62, 'f');
    const Row rows[] = {
        {"hello\n\r\n:01001000559A\r\n:01001100aa44 :0\n:00000001FF", "10:55aa", ""},
        {QByteArray(300000, 'x') + "\n:01001000559A\n\n; x\nS9\n:01001100AA44\n", "10:55aa", ""},
        {":02000002F0000C\n:01001000559A\n", "f0010:55", ""},
        {":020000040800F2\n:020000020010EC\n:01001000559A", "8000110:55", ""},
        {":020000040800F2\n:00000004FC\n:0100000210ED\n:01001000559A", "10010:55", ""},
        {":0400000300003800C1\n:04000005080000C12E\n:01001000559A\n:00000001FF\n:01001100AA44\n", "10:55aa", ""},
        {":01001100AA44\n:01001000559A\n", "10:55aa", ""},
        {":01001000559A\n:01003000AA25\n", "10:55" + fill + "aa", ""},
        {":01001000559A\n:01003100AA24\n", "10:55 31:aa", ""},
        {":01001000559A\n:01001000AA45\n", "10:aa",
         "Warning: File corrupted. Two or more segments define the same "
         "memory zone or wrong order of segments"},
        {":01001000559A\n:00030000FD\n:01001100AA44\n", "10:55aa", ""},
        {":02000004FFFFFC\n:02FFFF001122CD\n", "ffffffff:1122", ""},
        {"S0030000FC\nS10400105596\nS205001100AA3F\nS30600120000BB2C\nS9030000FC\n", "10:55 1100:aa 120000:bb", ""},
        {"S10400105596\nS5030001FB\nS1040011AA40\nS1030020DC\nS000FF\n", "10:55aa", ""},
        {":0", "", "Error: parsing count, expecting hex digit, found '"},
        {":G1", "", "Error: parsing count, expecting hex digit, found 'G'"},
        {":01:", "", "Error: parsing addr, expecting hex digit, found ':'"},
        {":0100/0", "", "Error: parsing addr, expecting hex digit, found '/'"},
        {":010000@0", "", "Error: parsing recType, expecting hex digit, found '@'"},
        {":01000000\n55", "", "Error: parsing data, expecting hex digit, found '\n'"},
        {":010000005\xE4", "", "Error: parsing data, expecting hex digit, found 'ä'"},
        // If '`' counted as the digit 0, the checksum would be right.
        {":010000005`AF", "", "Error: parsing data, expecting hex digit, found '`'"},
        {":0100000055`0", "", "Error: parsing checksum, expecting hex digit, found '`'"},
        {":0100000000FE", "", "Error: found checksum 0xfe, expecting 0xff"},
        {":00000006FA", "", "Error: Unrecognized record type: 6"},
        {"S", "", "Error: expecting digit (0-9), found: '"},
        {"Sx", "", "Error: expecting digit (0-9), found: 'x'"},
        {"S1G", "", "Error: parsing count, expecting hex digit, found 'G'"},
        {"S10400105x96", "", "Error: parsing data, expecting hex digit, found 'x'"},
        {"S104001055 6", "", "Error: parsing checksum, expecting hex digit, found ' '"},
        {"S10400105597", "", "Error: found checksum 0x97, expecting 0x96"},
        {"S4030000FD", "", "Error: found checksum 0xfd, expecting 0xfc"},
        {"S4030000FC", "", "Error: Unrecognized S-Record: S4"},
        {"S10200FD", "", "Error: S-Record S1 is too short for its address"},
        {"S9030000FC\nT", "", "Error: doesn't start with an 'S'", 2},
    };
    const TempFolder folder;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text.right(100).constData());
        const MessageCapture capture;
        FileLoadContext context;
        FileData* file = nullptr;
        EXPECT_EQ(read(context, folder.write("a.hex", row.text), file), !row.segments.empty());
        EXPECT_EQ(file == nullptr ? "" : segmentText(*file), row.segments);
        std::vector<std::string> messages;
        if (row.segments.empty()) {
            messages = {"Error: \nParsing fail", "Error: In line " + std::to_string(row.line) + " :", row.message};
        } else if (!row.message.empty()) {
            messages = {row.message};
        }
        EXPECT_EQ(capture.texts(), messages);
    }
}

TEST(RecordReader, NameDecidesTheTypeOnly) {
    const TempFolder folder;
    const MessageCapture capture;
    FileLoadContext context;
    FileData* file = nullptr;
    ASSERT_TRUE(read(context, folder.write("a.HEX", "S10400105596\n"), file));
    EXPECT_EQ(file->fileType, fileTypeHex);
    ASSERT_TRUE(read(context, folder.write("a.srec", ":01001000559A\n"), file));
    EXPECT_EQ(file->fileType, fileTypeSrec);
    EXPECT_FALSE(read(context, folder.write("b.hex", ":00000001FF\n"), file));
    EXPECT_EQ(capture.texts().back(), "Error: The file " + folder.path("b.hex").toStdString() + " is invalid");
}

TEST(RecordReader, ReadsWhatOtherToolsWrite) {
    std::mt19937 generator(3);
    const TempFolder folder;
    for (const int size : {1, 31, 33, 200000}) {
        QByteArray data(size, '\0');
        std::generate(data.begin(), data.end(), [&generator] { return static_cast<char>(generator()); });
        folder.write("in.bin", data);
        for (const char* const command : {"srec_cat @in.bin -binary -offset 0x8001234 -o @a.hex -intel",
                                          "srec_cat @in.bin -binary -offset 0x8001234 -o @a.hex -intel -obs=255",
                                          "srec_cat @in.bin -binary -offset 0x8001234 -o @a.hex -motorola",
                                          "objcopy -I binary -O ihex --change-addresses 0x8001234 @in.bin @a.hex",
                                          "objcopy -I binary -O srec --change-addresses 0x8001234 @in.bin @a.hex"}) {
            outsideTool(QByteArray(command).replace('@', folder.path("").toUtf8() + '/'));
            FileLoadContext context;
            FileData* file = nullptr;
            ASSERT_TRUE(read(context, folder.path("a.hex"), file)) << command;
            EXPECT_EQ(segmentText(*file), "8001234:" + data.toHex().toStdString()) << command;
        }
    }
}

// A text that is cut anywhere, or has any one character changed, is either read or rejected.
TEST(RecordReader, SurvivesDamage) {
    const TempFolder folder;
    std::mt19937 generator(4);
    for (const QByteArray text : {":020000040800F2\r\n:050010001122334455EC\r\n:01003000AA25\n:00000001FF\n",
                                  "S0030000FC\r\nS30608001200558A\nS10400105596\nS9030000FC\n"}) {
        for (qsizetype i = 1; i < 2 * text.size(); ++i) {
            QByteArray damaged = text.first(std::min(i, text.size()));
            if (i >= text.size()) {
                damaged[i - text.size()] = static_cast<char>(generator());
            }
            const MessageCapture capture;
            FileLoadContext context;
            FileData* file = nullptr;
            const bool done = read(context, folder.write("a.hex", damaged), file);
            EXPECT_EQ(done, file != nullptr);
            EXPECT_EQ(done, capture.texts(5).empty());
        }
    }
}

}  // namespace
