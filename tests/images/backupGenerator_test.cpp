#include "images/backupGenerator.h"

#include "tests/images/ItemDocument.h"
#include "tests/support/MessageCapture.h"

#include <gmock/gmock.h>

#include <QFile>

using testing::ElementsAre;

namespace {

TEST(BackupGenerator, ListsDocumentAndImage) {
    const TempFolder folder;
    folder.write("a.bin", countingBytes(1, 16));
    folder.write("n.bin", countingBytes(1, 16));
    const QString json = writeDocument(folder, "Lock=1ff; Offset=20; Algorithm=1; Nonce=./n.bin");
    const MessageCapture messages;
    ASSERT_EQ(generateBackup(json, folder.path("out.bin")), 0);
    QByteArrayList lines;
    for (const auto& [kind, text] : messages.messages()) {
        lines.append(QByteArray::number(kind) + text.c_str());
    }
    EXPECT_EQ(
        lines.join('|'),
        "0Start parsing json file...|0[File 1] :|0 Name       : A|0 Path       : ./a.bin|0 Offset     : 0x00000020|"
        "0 Protection : |0     [Lock]      : 0x1FF|0     [CID]       : 0x00|0     [EncWrap]   : 0x00|"
        "0     [KeySel]    : 0x00|0     [KeySize]   : 0x00|0     [Algorithm] : 0x01|0     [Nonce]     : ./n.bin|"
        "0     [HDPL]      : 0x01|0|2PVS Backup generation SUCCESS|0\nParse PVS Backup image:|0  Segment 1/1     |"
        "0       Offset         : 0x00000020|0       Protection     : 0xF0480000|0       Data Size      : 0x20\n");
}

TEST(BackupGenerator, TakesOtherShapesAsEmptyAndRefusesDepth) {
    const TempFolder folder;
    const MessageCapture messages;
    for (const char* text : {"{}", "[]", "[{\"Files\": 1}]", "{\"Files\": {}}", "{\"Files\": []}"}) {
        EXPECT_EQ(generateBackup(folder.write("doc.json", text), folder.path("out.bin")), 0) << text;
        EXPECT_TRUE(QFile::exists(folder.path("out.bin")) && folder.read("out.bin").isEmpty()) << text;
    }
    EXPECT_EQ(QFile::permissions(folder.path("out.bin")) & QFile::Permissions(0x0077), QFile::Permissions());
    EXPECT_EQ(generateBackup(folder.path("doc.json"), folder.path("./doc.json")), -1);
    EXPECT_EQ(generateBackup(folder.path("absent.json"), folder.path("out.bin")), -2);
    ASSERT_TRUE(QFile::resize(folder.path("doc.json"), (8 << 20) + 1));
    EXPECT_EQ(generateBackup(folder.path("doc.json"), folder.path("out.bin")), -2);
    EXPECT_EQ(generateBackup(folder.write("doc.json", QByteArray(100000, '[')), folder.path("out.bin")), -2);
    EXPECT_THAT(
        messages.texts(5),
        ElementsAre("Error: The output file would replace the document.\n" + folder.path("./doc.json").toStdString(),
                    "Error: Failed to open JSON file",
                    "Error: The document " + folder.path("doc.json").toStdString() + " is larger than 8 MiB",
                    "Error: Failed to parse JSON data, Invalid format !"));
}

TEST(BackupGenerator, ListDrivenFlowChecksBeforeItLists) {
    const TempFolder folder;
    const ProtectionField none;
    const BackupItem item{QString(), folder.write("a.bin", {}), 0, none, none, none, none, none, none, QString(), none};
    QList<BackupItem> items(256, item);
    const QString output = folder.path("out.bin");
    const MessageCapture messages;
    EXPECT_EQ(generateBackupFromItems({}, {}, output), -1);
    EXPECT_TRUE(messages.texts().empty());
    ASSERT_EQ(generateBackupFromItems(items, {}, output), 0);
    EXPECT_EQ(messages.texts()[0], "\nParse PVS Backup image:");
    EXPECT_EQ(messages.texts()[1], "  Segment 1/256     ");
    EXPECT_EQ(messages.texts()[1 + 4 * 255], "  Segment 0/256     ");  // the counter has 8 bits
    EXPECT_EQ(messages.messages().back(), std::make_pair(2, std::string("PVS Backup generation SUCCESS")));

    folder.write("a.bin", "data");
    EXPECT_EQ(generateBackupFromItems(items.first(2), {}, output), -1);
    EXPECT_EQ(folder.read("out.bin").size(), 32);
    EXPECT_EQ(generateBackupFromItems(items, {}, QStringLiteral("no/out.bin")), -1);
    EXPECT_EQ(generateBackupFromItems(items, {}, QStringLiteral("/dev/full")), -1);
    // A device accepts the image and isn't read back.
    EXPECT_EQ(generateBackupFromItems(items.first(1), {}, QStringLiteral("/dev/zero")), 0);
    ASSERT_TRUE(QFile::resize(item.Path, 0xFFFFFFFF));
    EXPECT_EQ(generateBackupFromItems(items, {}, output), -1);
    items[0].Path = QStringLiteral("/dev/zero");
    EXPECT_EQ(generateBackupFromItems(items, {}, output), -1);
    EXPECT_THAT(
        messages.texts(5),
        ElementsAre("Error: Overlap detected between files at offsets [0x00000000] and [0x00000000]",
                    "Error: Failed to open no/out.bin file in write mode.", "Error: Failed to write /dev/full file.",
                    "Error: []\nThe file is too large.\n" + item.Path.toStdString(),
                    "Error: []\nThe file is too large.\n/dev/zero"));
}

}  // namespace
