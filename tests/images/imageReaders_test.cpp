#include "images/backupImage.h"
#include "images/secretsImage.h"
#include "tests/images/ItemDocument.h"
#include "tests/support/MessageCapture.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

TEST(BackupImage, ReadsRecordsAndRefusesEveryCut) {
    const QByteArray image = QByteArray::fromHex("10000000000010300400000001020304200000000000000000000000");
    const TempFolder folder;
    const MessageCapture messages;
    QList<BackupSegment> segments;
    for (qsizetype length = 0; length <= image.size(); ++length) {
        const bool whole = length == 0 || length == 16 || length == image.size();
        EXPECT_EQ(parseBackupImage(folder.write("b.bin", image.first(length)), segments), whole ? 0 : -1) << length;
        EXPECT_EQ(segments.size(), length / 16 + length / image.size()) << "not kept at " << length;
    }
    const BackupSegment& first = segments[0];
    EXPECT_EQ(std::tuple(first.offset, first.protection, first.size, first.record),
              std::tuple(0x10U, 0x30100000U, 4U, image.first(16)));
    EXPECT_EQ(messages.texts().size(), 26U);
    EXPECT_EQ(messages.texts().front(),
              "Error: Input Backup file is not valid : " + folder.path("b.bin").toStdString());
    for (const char* size : {"05000000", "ffffffff", "f4ffffff", "00000080"}) {
        const QString path = folder.write("b.bin", image.first(8) + QByteArray::fromHex(size) + "1234");
        EXPECT_EQ(parseBackupImage(path, segments), -1) << size;
    }
    EXPECT_EQ(parseBackupImage(QStringLiteral("no/b.bin"), segments), -1);
    EXPECT_EQ(messages.texts().back(), "Error: Failed to open no/b.bin file in write mode.");
}

TEST(BackupImage, FindsEveryOverlapInAnyOrder) {
    const MessageCapture messages;
    EXPECT_TRUE(checkBackupOverlap({{0xFFFFFFFC, 0, 0xFFFFFFFF, {}}}));
    EXPECT_TRUE(checkBackupOverlap({{48, 0, 4, {}}, {32, 2U << 19, 32, {}}, {0, 1U << 19, 48, {}}}));
    EXPECT_FALSE(checkBackupOverlap({{8, 0, 8, {}}, {4, 0, 8, {}}, {0, 5U << 19, 8, {}}}));
    EXPECT_FALSE(checkBackupOverlap({{0x80000000, 0, 0x80000001, {}}, {0xFFFFFFFC, 0, 0, {}}}));
    const std::string text = "Error: Overlap detected between files at offsets ";
    EXPECT_THAT(messages.texts(5),
                ElementsAre(text + "[0x00000000] and [0x00000004]", text + "[0x00000004] and [0x00000008]",
                            text + "[0x80000000] and [0xFFFFFFFC]"));
}

TEST(SecretsImage, ReadsBothLayoutsAndRefusesEveryCut) {
    const TempFolder folder;
    const MessageCapture messages;
    QList<SecretSegment> segments;
    for (const int size : {0, 151, 153}) {
        EXPECT_EQ(parseSecretsImage(0x501, folder.write("s.bin", countingBytes(0, size)), segments), -1) << size;
    }
    EXPECT_EQ(parseSecretsImage(0x500, folder.write("s.bin", countingBytes(0, 152)), segments), 0);
    ASSERT_EQ(segments.size(), 38);
    EXPECT_EQ(std::tuple(segments[0].offset, segments[1].offset, segments[37].offset), std::tuple(56U, 59U, 95U));
    EXPECT_EQ(segments[37].data.toHex(), "94959697");
    EXPECT_THAT(messages.texts(),
                testing::Each("Error: Secrets file size is not valid.\nThe expected total size is 152 "
                              "Bytes (38 OTP words) corresponding to [56] and [59, 95] OTP regions"));
    const QByteArray image = QByteArray::fromHex("0c00011004000000deadbeef1600000000000000");
    for (qsizetype length = 0; length <= image.size(); ++length) {
        const bool whole = length == 0 || length == 12 || length == image.size();
        EXPECT_EQ(parseSecretsImage(0x123, folder.write("s.bin", image.first(length)), segments), whole ? 0 : -1);
        EXPECT_EQ(segments.size(), length / 12 + length / image.size()) << "not kept at " << length;
    }
    EXPECT_EQ(std::tuple(segments[0].offset, segments[0].word, segments[0].data.toHex()),
              std::tuple(12U, 0x1001000CU, QByteArray("deadbeef")));
    EXPECT_EQ(parseSecretsImage(0x505, QStringLiteral("no/s.bin"), segments), -1);
    EXPECT_EQ(messages.texts().back(), "Error: Failed to open no/s.bin file in write mode.");
}

// A record of eight or twelve bytes in the file needs many times that much memory.
TEST(ImageReaders, BoundTheNumberOfRecords) {
    const TempFolder folder;
    const MessageCapture messages;
    const QString path = folder.path("image.bin");
    QList<BackupSegment> backup;
    QList<SecretSegment> secrets;
    for (const qsizetype more : {0, 1}) {
        folder.write("image.bin", QByteArray(12 * (65535 + more), '\0'));
        EXPECT_EQ(parseBackupImage(path, backup), more == 0 ? 0 : -1);
        folder.write("image.bin", QByteArray(8 * (65535 + more), '\0'));
        EXPECT_EQ(parseSecretsImage(0x505, path, secrets), more == 0 ? 0 : -1);
    }
    EXPECT_EQ(backup.size(), 65535);
    EXPECT_EQ(secrets.size(), 65535);
    // A sparse file of 1 TiB. Neither reader reads all of it.
    ASSERT_TRUE(QFile::resize(path, qint64{1} << 40));
    EXPECT_EQ(parseSecretsImage(0x500, path, secrets), -1);
    EXPECT_EQ(parseBackupImage(path, backup), -1);
    const std::string name = path.toStdString();
    EXPECT_THAT(messages.texts(), ElementsAre("Error: The backup image " + name + " has more than 65535 records",
                                              "Error: The secrets image " + name + " has more than 65535 records",
                                              testing::StartsWith("Error: Secrets file size is not valid."),
                                              "Error: The file " + name + " is too large for the memory."));
}

}  // namespace
