#include "images/BackupGenerator.h"

#include "tests/images/documents.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <QFile>

using testing::ElementsAre;

namespace {

const std::string plainListing = R"([File 1] :
 Name       : A
 Path       : ./a.bin
 Offset     : 0x00000010
 Protection : 
     [Lock]      : 0x1FF
     [CID]       : 0x00
     [EncWrap]   : 0x00
     [KeySel]    : 0x00
     [KeySize]   : 0x00
     [Algorithm] : 0x00
     [HDPL]      : 0x01
)";

std::string joined(const std::vector<std::string>& texts) {
    std::string lines;
    for (const std::string& text : texts) {
        lines += text + "\n";
    }
    return lines;
}

TEST(BackupGenerator, WritesRecordsAndListsThem) {
    const TempFolder folder;
    folder.write("a.bin", countingBytes(1, 20));
    folder.write("b.bin", countingBytes(0x20, 32));
    folder.write("n.bin", countingBytes(0xA0, 16));
    const QString json = folder.write(
        "backup.json",
        document(
            {{.lock = "1FF"},
             {.name = "B", .path = "./b.bin", .offset = "24", .encWrap = "2", .algorithm = "1", .nonce = "./n.bin"}}));
    const MessageCapture messages;
    ASSERT_EQ(generateBackup(json, folder.path("out.bin")), 0);
    // 0x1FF << 28 | 1 << 29, then 1 << 28 | 2 << 22 | 1 << 19 | 1 << 29.
    EXPECT_EQ(hex(folder.read("out.bin")),
              "10000000"
              "000000f0"
              "14000000"
              "0102030405060708090a0b0c0d0e0f1011121314"
              "24000000"
              "00008830"
              "30000000"
              "a0a1a2a3a4a5a6a7a8a9aaabacadaeaf"
              "202122232425262728292a2b2c2d2e2f303132333435363738393a3b3c3d3e3f");
    EXPECT_EQ(joined(messages.texts(0)), "Start parsing json file...\n" + plainListing + R"(
[File 2] :
 Name       : B
 Path       : ./b.bin
 Offset     : 0x00000024
 Protection : 
     [Lock]      : 0x01
     [CID]       : 0x00
     [EncWrap]   : 0x02
     [KeySel]    : 0x00
     [KeySize]   : 0x00
     [Algorithm] : 0x01
     [Nonce]     : ./n.bin
     [HDPL]      : 0x01


Parse PVS Backup image:
  Segment 1/2     
       Offset         : 0x00000010
       Protection     : 0xF0000000
       Data Size      : 0x14

  Segment 2/2     
       Offset         : 0x00000024
       Protection     : 0x30880000
       Data Size      : 0x30

)");
    EXPECT_THAT(messages.texts(2), ElementsAre("PVS Backup generation SUCCESS"));
    EXPECT_EQ(messages.messages().size(), messages.texts(0).size() + 1);
}

TEST(BackupGenerator, RefusesWrongDocuments) {
    const QByteArray right = document({{.name = "Z", .nonce = "n"}, {}});
    const auto bad = [](const std::string& value) { return "Error: Invalid hexadecimal value : " + value; };
    const std::string item = "Error: Invalid json item";
    const std::string syntax = "Error: Failed to parse JSON data, Invalid format !";
    const struct {
        const char* find;  ///< the last place of it is replaced
        const char* replacement;
        std::string expected;
    } rows[] = {
        {"\"Name\"", "\"Nom\"", item},
        {"\"Path\"", "\"path\"", item},
        {"\"Offset\"", "\"offset\"", item},
        {"\"Protection\"", "\"P\"", item},
        {"{\"Name\"", "7, {\"Name\"", item},
        {"\"0x10\"", "\"0x1G\"", bad("0x1G")},
        {"\"0x10\"", "\"100000000\"", bad("100000000")},
        {"\"0x10\"", "\" 10\"", bad(" 10")},
        {"\"0x10\"", "\"-10\"", bad("-10")},
        {"\"0x10\"", "16", bad("")},
        {"\"Lock\"", "\"Look\"", bad("")},
        {"\"13\"", "\"x\"", bad("x")},
        {"\"13\"", "\"100\"", bad("100")},
        {"\"0x16\"", "\"y\"", bad("")},  // the one place whose message doesn't show the value
        {"\"0x2\"", "\"0x\"", bad("0x")},
        {"\"BitValue\": \"1\"", "\"BitValue\": \"10000\"", bad("10000")},
        {"\"0x1\": \"yes\"", "\"q\": \"yes\"", bad("q")},
        {"\"T\"", "T", syntax},
        {"]}", "", syntax},
    };
    const TempFolder folder;
    for (const auto& row : rows) {
        QByteArray text = right;
        const qsizetype place = text.lastIndexOf(row.find);
        ASSERT_GE(place, 0) << row.find;
        const QString json = folder.write("backup.json", text.replace(place, qstrlen(row.find), row.replacement));
        const MessageCapture messages;
        QList<BackupItem> items(3);
        EXPECT_EQ(parseBackupJson(json, items), -1) << row.replacement;
        EXPECT_EQ(items.size(), 3);
        EXPECT_THAT(messages.texts(), ElementsAre("Start parsing json file...", row.expected)) << row.replacement;
        EXPECT_EQ(generateBackup(json, folder.path("out.bin")), -2);
    }
    const MessageCapture messages;
    EXPECT_EQ(generateBackup(folder.path("absent.json"), folder.path("out.bin")), -2);
    EXPECT_EQ(generateBackup(folder.write("deep.json", QByteArray(100000, '[')), folder.path("out.bin")), -2);
    EXPECT_THAT(messages.texts(), ElementsAre("Error: Failed to open JSON file", "Start parsing json file...", syntax));
    EXPECT_FALSE(QFile::exists(folder.path("out.bin")));
}

TEST(BackupGenerator, ReadsWhatMayBeAbsent) {
    const TempFolder folder;
    const MessageCapture messages;
    for (const char* text : {"{}", "[]", "[{\"Files\": 1}]", "{\"Files\": {}}", "{\"Files\": []}"}) {
        EXPECT_EQ(generateBackup(folder.write("backup.json", text), folder.path("out.bin")), 0) << text;
        EXPECT_TRUE(QFile::exists(folder.path("out.bin")) && folder.read("out.bin").isEmpty()) << text;
    }
    const QByteArray bare = document({{}}).replace("\"HDPL\"", "\"H\"").replace("\"PossibleValues\"", "\"P\"");
    QList<BackupItem> items;
    ASSERT_EQ(parseBackupJson(folder.write("bare.json", bare), items), 0);
    EXPECT_EQ(protectionWord(items.at(0)), 0x10000000U);
    EXPECT_THAT(messages.texts(), testing::Not(testing::Contains(testing::HasSubstr("HDPL"))));
    ASSERT_EQ(parseBackupJson(folder.write("full.json", document({{.offset = "10"}})), items), 0);
    EXPECT_EQ(items.at(0).Offset, 16U);
    EXPECT_EQ(items.at(0).Lock.PossibleValues.value(1), QStringLiteral("yes"));
}

TEST(BackupGenerator, HoldsEveryItemAgainstTheRules) {
    const TempFolder folder;
    folder.write("n.bin", countingBytes(0, 16));
    folder.write("n17.bin", countingBytes(0, 17));
    folder.write("out.bin", "old");
    const std::string dir = folder.path(".").toStdString() + "/";
    const std::string at = "\n" + dir + "a.bin ";
    const struct {
        DocumentItem item;
        int fileSize;
        std::string expected;  ///< empty: passes
    } rows[] = {
        {{.algorithm = "1"}, 4, "Error: [A]\nNonce file is mandatory with AES-CBC and AES-CTR algorithm.\n./a.bin"},
        {{.algorithm = "2"}, 4, "Error: [A]\nNonce file is mandatory with AES-CBC and AES-CTR algorithm.\n./a.bin"},
        {{.algorithm = "3"}, 4, ""},
        {{.offset = "12"}, 4, "Error: [A]\nOffset value is not aligned with 32-bit.\n./a.bin"},
        {{.algorithm = "1", .nonce = "./no"}, 4, "Error: Failed to open " + dir + "no file."},
        {{.algorithm = "3", .nonce = "./n17.bin"},
         4,
         "Error: [A]\nNonce binary size must be 16 Bytes.\n" + dir + "n17.bin"},
        {{.path = "../nowhere/x"}, 4, "Error: Failed to open " + folder.path("../nowhere/x").toStdString() + " file."},
        {{.path = "nowhere/x"}, 4, "Error: Failed to open nowhere/x file."},
        {{}, 20, ""},
        {{}, 0, ""},
        {{}, 22, "Error: [A]\nNo enryption is activated, file is not 32-bit aligned." + at},
        {{.encWrap = "2"}, 20, "Error: [A]\nEnryption is activated, file is not 128-bit aligned." + at},
        {{.encWrap = "2", .algorithm = "2", .nonce = "./n.bin"}, 32, ""},
        {{.encWrap = "1"},
         32,
         "Error: [A]\nWrapping is activated with KeySize 128-bit, file must have the size 16 Bytes." + at},
        {{.encWrap = "1", .keySize = "1"},
         16,
         "Error: [A]\nWrapping is activated with KeySize 256-bit, file must have the size 32 Bytes." + at},
        {{.encWrap = "1", .keySize = "1", .algorithm = "2", .nonce = "./n.bin"},
         32,
         "Error: [A]\nAlgorithm AES CTR is not supported with Wrapping option."},
        {{.encWrap = "1", .keySize = "2"}, 5, ""},
        {{.encWrap = "3"}, 5, ""},
        {{.nonce = "./no"},
         4,
         "Warning: [A]\nNonce file is not empty, it will be ignored with AES-ECB algorithm.\n./no"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        folder.write("a.bin", countingBytes(0, row.fileSize));
        const QString json = folder.write("backup.json", document({row.item}));
        const bool passes = row.expected.empty() || row.expected.front() == 'W';
        const MessageCapture messages;
        EXPECT_EQ(generateBackup(json, folder.path(passes ? "new.bin" : "out.bin")), passes ? 0 : -1);
        std::vector<std::string> faults = messages.texts(5);
        for (const std::string& warning : messages.texts(4)) {
            faults.push_back(warning);
        }
        EXPECT_EQ(joined(faults), row.expected.empty() ? "" : row.expected + "\n");
        EXPECT_EQ(folder.read("out.bin"), "old");
    }
}

TEST(BackupGenerator, KeepsAnOverlappingImageInBothFlows) {
    const TempFolder folder;
    folder.write("a.bin", countingBytes(0, 20));
    const QString json = folder.write("backup.json", document({{}, {.offset = "20"}}));
    const std::string fault = "Error: Overlap detected between files at offsets [0x00000010] and [0x00000020]";
    QList<BackupItem> items;
    const MessageCapture messages;
    ASSERT_EQ(parseBackupJson(json, items), 0);
    const QString blocked = folder.path("no/out.bin");
    EXPECT_EQ(generateBackupFromItems({}, json, folder.path("out.bin")), -1);
    EXPECT_FALSE(QFile::exists(folder.path("out.bin")));
    EXPECT_EQ(generateBackupFromItems(items, json, blocked), -1);
    EXPECT_EQ(generateBackupFromItems(items, json, QStringLiteral("/dev/full")), -1);
    EXPECT_EQ(generateBackup(json, folder.path("out.bin")), -1);
    EXPECT_EQ(folder.read("out.bin").size(), 64);
    EXPECT_EQ(generateBackupFromItems(items, json, folder.path("list.bin")), -1);
    EXPECT_EQ(folder.read("list.bin").size(), 64);
    EXPECT_THAT(messages.texts(5),
                ElementsAre("Error: Failed to open " + blocked.toStdString() + " file in write mode.",
                            "Error: Failed to write /dev/full file.", fault, fault));
    EXPECT_THAT(messages.texts(2), ElementsAre());
}

TEST(BackupGenerator, ListDrivenFlowEndsWithSuccess) {
    const TempFolder folder;
    BackupItem item;
    item.Path = folder.write("a.bin", {});
    QList<BackupItem> items(256, item);
    const MessageCapture messages;
    ASSERT_EQ(generateBackupFromItems(items, {}, folder.path("out.bin")), 0);
    EXPECT_EQ(messages.texts().front(), "\nParse PVS Backup image:");
    EXPECT_EQ(messages.texts().at(1), "  Segment 1/256     ");
    EXPECT_EQ(messages.texts().at(1 + 4 * 255), "  Segment 0/256     ");  // the counter has 8 bits
    EXPECT_EQ(messages.messages().back(), std::make_pair(2, std::string("PVS Backup generation SUCCESS")));
}

}  // namespace
