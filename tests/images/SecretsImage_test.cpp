#include "images/SecretsImage.h"

#include "tests/images/documents.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

namespace {

TEST(SecretsImage, ReadsBothLayoutsAndRefusesOthers) {
    const TempFolder folder;
    const std::string path = folder.path("s.bin").toStdString();
    const std::string size =
        "Error: Secrets file size is not valid.\nThe expected total size is 152 Bytes (38 OTP words) "
        "corresponding to [56] and [59, 95] OTP regions";
    const QByteArray records = QByteArray::fromHex(
        "0c00011004000000deadbeef"
        "1600000000000000");
    const struct {
        std::uint32_t device;
        QByteArray image;
        int count;  ///< segments; -1 for a refusal
        std::string expected;
    } rows[] = {
        {0x500, countingBytes(0, 152), 38, ""},
        {0x501, countingBytes(0, 151), -1, size},
        {0x500, {}, -1, size},
        {0x501, countingBytes(0, 153), -1, size},
        {0x505, records, 2, ""},
        {0x123, records, 2, ""},
        {0x505, {}, 0, ""},
        {0x505, records.first(11), -1, "Error: Secrets file is not valid : " + path},
        {0x505, records.first(19), -1, "Error: Secrets file size is not correct: " + path},
        {0x505, records.first(4) + "\xff\xff\xff\xff", -1, "Error: Secrets file is not valid : " + path},
    };
    for (const auto& row : rows) {
        const MessageCapture messages;
        QList<SecretSegment> segments(5);
        EXPECT_EQ(parseSecretsImage(row.device, folder.write("s.bin", row.image), segments), row.count < 0 ? -1 : 0);
        EXPECT_EQ(segments.size(), row.count < 0 ? 5 : row.count);
        EXPECT_EQ(messages.texts(), row.expected.empty() ? std::vector<std::string>() : std::vector{row.expected});
    }
    QList<SecretSegment> segments;
    ASSERT_EQ(parseSecretsImage(0x500, folder.write("s.bin", countingBytes(0, 152)), segments), 0);
    EXPECT_EQ(segments.at(0).offset, 56U);
    EXPECT_EQ(segments.at(1).offset, 59U);
    EXPECT_EQ(segments.at(37).offset, 95U);
    EXPECT_EQ(segments.at(37).word, 0U);
    EXPECT_EQ(hex(segments.at(37).data), "94959697");
    ASSERT_EQ(parseSecretsImage(0x505, folder.write("s.bin", records), segments), 0);
    EXPECT_EQ(segments.at(0).offset, 12U);
    EXPECT_EQ(segments.at(0).word, 0x1001000CU);
    EXPECT_EQ(hex(segments.at(0).data), "deadbeef");
    const MessageCapture messages;
    EXPECT_EQ(parseSecretsImage(0x505, QStringLiteral("no/s.bin"), segments), -1);
    EXPECT_THAT(messages.texts(), testing::ElementsAre("Error: Failed to open no/s.bin file in write mode."));
}

TEST(SecretsImage, FindsTheFirstOverlapAndTheEndOfMemory) {
    const std::string overlap =
        "Error: Overlap detected between secrets at indexes [60] and [61]\nPlease check the size "
        "of the secret binary corresponding to the OTP 60";
    const auto beyond = [](const char* index) {
        return std::string("Error: The last secret binary [OTP") + index + "] exceeds the maximum allowed memory";
    };
    const struct {
        std::uint32_t device;
        QList<SecretSegment> segments;
        std::string expected;
    } rows[] = {
        {0x500, {}, ""},
        {0x500, {{95, 0, 7, {}}}, ""},
        {0x500, {{94, 0, 32, {}}}, beyond("94")},
        {0x505, {{367, 0, 4, {}}}, ""},
        {0x505, {{367, 0, 8, {}}}, beyond("367")},
        {0x123, {{96, 0, 4, {}}}, beyond("96")},
        {0x500, {{61, 0, 8, {}}, {60, 1U << 19, 20, {}}, {62, 0, 4, {}}}, overlap},
        {0x500, {{61, 0, 4, {}}, {60, 0, 7, {}}}, ""},
        {0x500, {{0, 0, 0, {}}, {0xFFFFFFFF, 0, 0xFFFFFFFF, {}}}, beyond("-1")},
    };
    for (const auto& row : rows) {
        const MessageCapture messages;
        EXPECT_EQ(checkSecretsOverlap(row.segments, row.device), row.expected.empty());
        EXPECT_EQ(messages.texts(), row.expected.empty() ? std::vector<std::string>() : std::vector{row.expected});
    }
}

}  // namespace
