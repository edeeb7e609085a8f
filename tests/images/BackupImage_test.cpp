#include "images/BackupImage.h"

#include "tests/images/documents.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

const QByteArray twoRecords = QByteArray::fromHex(
    "10000000"
    "00001030"
    "04000000"
    "01020304"
    "20000000"
    "00000000"
    "00000000");

TEST(BackupImage, ReadsRecordsAndRefusesEveryCut) {
    const TempFolder folder;
    for (qsizetype length = 0; length <= twoRecords.size(); ++length) {
        const QString path = folder.write("backup.bin", twoRecords.first(length));
        const MessageCapture messages;
        QList<BackupSegment> segments(5);
        if (length == 0 || length == 16 || length == twoRecords.size()) {
            EXPECT_EQ(parseBackupImage(path, segments), 0) << length;
            EXPECT_EQ(segments.size(), length / 14) << length;
            EXPECT_THAT(messages.texts(), ElementsAre());
        } else {
            EXPECT_EQ(parseBackupImage(path, segments), -1) << length;
            EXPECT_EQ(segments.size(), 5) << "touched at " << length;
            EXPECT_THAT(messages.texts(), ElementsAre("Error: Input Backup file is not valid : " + path.toStdString()));
        }
    }
    QList<BackupSegment> segments;
    ASSERT_EQ(parseBackupImage(folder.path("backup.bin"), segments), 0);
    EXPECT_EQ(segments.at(0).offset, 0x10U);
    EXPECT_EQ(segments.at(0).protection, 0x30100000U);
    EXPECT_EQ(segments.at(0).size, 4U);
    EXPECT_EQ(hex(segments.at(0).record), "10000000000010300400000001020304");
    EXPECT_EQ(hex(segments.at(1).record), "200000000000000000000000");
}

TEST(BackupImage, RefusesSizesThatLeadOutOfTheFile) {
    const TempFolder folder;
    for (const char* size : {"05000000", "ffffffff", "f4ffffff", "00000080"}) {
        const QByteArray image = twoRecords.first(8) + QByteArray::fromHex(size) + "1234";
        const MessageCapture messages;
        QList<BackupSegment> segments;
        EXPECT_EQ(parseBackupImage(folder.write("backup.bin", image), segments), -1) << size;
    }
    const MessageCapture messages;
    QList<BackupSegment> segments;
    EXPECT_EQ(parseBackupImage(QStringLiteral("nowhere/b.bin"), segments), -1);
    EXPECT_THAT(messages.texts(), ElementsAre("Error: Failed to open nowhere/b.bin file in write mode."));
}

TEST(BackupImage, FindsEveryOverlap) {
    constexpr std::uint32_t cbc = 1U << 19;
    constexpr std::uint32_t ctr = 2U << 19;
    constexpr std::uint32_t other = 5U << 19;
    const auto overlap = [](const char* first, const char* second) {
        return std::string("Error: Overlap detected between files at offsets [0x") + first + "] and [0x" + second + "]";
    };
    const struct {
        QList<BackupSegment> segments;
        std::vector<std::string> expected;
    } rows[] = {
        {{}, {}},
        {{{0xFFFFFFFC, 0, 0xFFFFFFFF, {}}}, {}},
        {{{0, cbc, 48, {}}, {32, ctr, 32, {}}, {48, 0, 4, {}}}, {}},
        {{{0, cbc, 52, {}}, {32, 0, 4, {}}}, {overlap("00000000", "00000020")}},
        {{{0, other, 36, {}}, {32, 0, 4, {}}}, {overlap("00000000", "00000020")}},
        {{{8, 0, 8, {}}, {4, 0, 8, {}}, {0, 0, 8, {}}},
         {overlap("00000000", "00000004"), overlap("00000004", "00000008")}},
        {{{0x80000000, 0, 0x80000001, {}}, {0xFFFFFFFC, cbc, 0, {}}}, {overlap("80000000", "FFFFFFFC")}},
        {{{4, cbc, 0, {}}, {4, 0, 4, {}}}, {}},
    };
    for (const auto& row : rows) {
        const MessageCapture messages;
        EXPECT_EQ(checkBackupOverlap(row.segments), row.expected.empty());
        EXPECT_EQ(messages.texts(), row.expected);
    }
}

}  // namespace
