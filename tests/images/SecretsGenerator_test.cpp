#include "images/SecretsGenerator.h"

#include "tests/images/documents.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QFileInfo>

using testing::ElementsAre;

namespace {

SecretItem word(std::uint32_t index, const char* text, std::uint16_t lock = 0) {
    SecretItem item;
    item.Name = QStringLiteral("W");
    item.Offset = index;
    item.PathOrWord = QString::fromLatin1(text);
    item.Lock.BitOffset = 28;
    item.Lock.BitValue = lock;
    return item;
}

SecretItem file(std::uint32_t index, const QString& path, std::uint8_t format) {
    SecretItem item = word(index, "");
    item.Name = QStringLiteral("F");
    item.PathOrWord = path;
    item.isFile = true;
    item.Format = format;
    item.EncWrap.BitValue = 3;  // no size rule
    return item;
}

SecretItem withNonce(SecretItem item, const QString& nonce) {
    item.Algorithm.BitOffset = 19;
    item.Algorithm.BitValue = 1;
    item.Nonce = nonce;
    return item;
}

TEST(SecretsGenerator, ReadsTheDocument) {
    const TempFolder folder;
    const DocumentItem base = {.nonce = "n", .more = R"(, "isFile": "1", "Format": "2")", .pathKey = "PathOrWord"};
    const auto withKeys = [&base](const char* keys) {
        DocumentItem item = base;
        item.more = keys;
        return document({item});
    };
    const MessageCapture messages;
    QList<SecretItem> items;
    ASSERT_EQ(parseSecretsJson(folder.write("s.json", withKeys(R"(, "isFile": "1", "Format": "2", "isMandatory": "1",
        "isVXOwner": "1", "expectedSize": "32")")),
                               items),
              0);
    EXPECT_TRUE(items.at(0).isFile && items.at(0).isMandatory && items.at(0).isVXOwner);
    EXPECT_EQ(items.at(0).Format, 2);
    EXPECT_EQ(items.at(0).expectedSize, 32);
    EXPECT_EQ(items.at(0).Nonce, QStringLiteral("n"));
    EXPECT_EQ(messages.texts().at(3), " Path       : ./a.bin");
    EXPECT_EQ(messages.texts().at(11), "     [Algorithm] : 0x00");
    EXPECT_EQ(messages.texts().at(12), "     [HDPL]      : 0x01");  // no nonce line here
    ASSERT_EQ(parseSecretsJson(folder.write("s.json", document({base})), items), 0);
    EXPECT_FALSE(items.at(0).isMandatory || items.at(0).isVXOwner);
    EXPECT_EQ(items.at(0).expectedSize, -1);

    const std::string item = "Invalid json item";
    const struct {
        QByteArray text;
        std::string expected;
    } rows[] = {
        {document({base}).replace("Name", "N"), item},
        {document({base}).replace("PathOrWord", "Path"), item},
        {document({base}).replace("\"Offset", "\"O"), item},
        {document({base}).replace("Protection", "P"), item},
        {document({base}).replace("0x10", "h"), "Invalid hexadecimal value : h"},
        {document({base}).replace("0x16", "h"), "Invalid hexadecimal value : "},
        {withKeys(R"(, "isMandatory": "2")"), "Invalid Mandatory item value : 2 \nPossible values: 0/1"},
        {withKeys(R"(, "isVXOwner": "-1")"), "Invalid isVXOwner item value : -1 \nPossible values: 0/1"},
        {withKeys(R"(, "Format": "1")"), item + " [isFile field does not exist]"},
        {withKeys(R"(, "isFile": 1)"), "Invalid isFile item value :  \nPossible values: 0/1"},
        {withKeys(R"(, "isFile": "0", "isVXOwner": "1")"),
         item + " [expectedSize field does not exist, it is mandatory for VX Owner Items]"},
        {withKeys(R"(, "isFile": "0", "expectedSize": "0x2")"),
         "Invalid expectedSize item value : 0x2 \nPossible values: 0/1"},
        {withKeys(R"(, "isFile": "0")"), item + " [Format field does not exist]"},
        {withKeys(R"(, "isFile": "0", "Format": "0")"), "Invalid isFile item value : 0 \nPossible values: 1/2"},
        {withKeys(R"(, "isFile": "0", "Format": "3")"), "Invalid isFile item value : 3 \nPossible values: 1/2"},
    };
    for (const auto& row : rows) {
        const MessageCapture faults;
        EXPECT_EQ(parseSecretsJson(folder.write("s.json", row.text), items), -1);
        EXPECT_THAT(faults.texts(), ElementsAre("Start parsing json file...", "Error: " + row.expected));
        EXPECT_EQ(items.size(), 1);
    }
}

TEST(SecretsGenerator, WritesTheFixedLayout) {
    const TempFolder folder;
    const QString out = folder.path("out.bin");
    const QString ten = folder.write("ten.bin", countingBytes(1, 10));
    const struct {
        std::vector<SecretItem> items;
        std::vector<std::pair<int, std::string>> expected;  ///< byte offset and what stands there; the rest is zero
    } rows[] = {
        {{word(56, "0x12345678", 1), word(95, "0xA1B2C3D4")}, {{0, "78563412"}, {148, "d4c3b2a1"}}},
        {{word(60, "0x12345678"), word(56, "0x11111111")}, {{0, "78563412"}, {8, "78563412"}}},
        {{word(56, ""), file(59, ten, 1)},
         {{4,
           "04030201080706050"
           "90a"}}},
        {{word(56, ""), file(59, ten, 2)}, {{4, "0102030405060708090a"}}},
        {{word(56, "0x00112233445566"), word(95, "0x010203040506")}, {{0, "33221100445566"}, {148, "04030201"}}},
        {{file(94, folder.write("eight.bin", countingBytes(1, 8)), 2)},
         {{0, "0102030405060708"}, {144, "0102030405060708"}}},
    };
    for (const auto& row : rows) {
        std::string expected(304, '0');
        for (const auto& [offset, bytes] : row.expected) {
            expected.replace(static_cast<std::size_t>(offset) * 2, bytes.size(), bytes);
        }
        const MessageCapture messages;
        EXPECT_EQ(generateSecrets(0x501, QList<SecretItem>(row.items.begin(), row.items.end()), out), 38);
        EXPECT_EQ(hex(folder.read("out.bin")), expected);
        EXPECT_EQ(messages.texts().at(1), "  OTP AREAS     ");
        EXPECT_EQ(messages.texts().at(2), "       Offset         : 56");
        EXPECT_EQ(messages.texts().at(3), "       Protection     : 0x00000000");
        EXPECT_EQ(messages.messages().back(), std::make_pair(2, std::string("PVS Secrets generation SUCCESS")));
    }
}

TEST(SecretsGenerator, WritesRecords) {
    const TempFolder folder;
    const QString data = folder.write("d.bin", countingBytes(0x20, 6));
    const QString nonce = folder.write("n.bin", countingBytes(0xA0, 16));
    const MessageCapture messages;
    // 1 word, 2 begun words without the nonce's 16 bytes, none for no file, 1 word whose algorithm has no nonce file.
    EXPECT_EQ(generateSecrets(0x505,
                              {word(367, "0x12345678", 1), withNonce(file(176, data, 1), nonce), file(256, {}, 1),
                               withNonce(word(12, "0xAABBCCDD"), nonce)},
                              folder.path("out.bin")),
              4);
    EXPECT_EQ(hex(folder.read("out.bin")),
              "6f01001004000000"
              "78563412"
              "b000080016000000"
              "a3a2a1a0a7a6a5a4abaaa9a8afaeadac"
              "232221202425"
              "0001000000000000"
              "0c00080004000000"
              "ddccbbaa");
    EXPECT_EQ(messages.texts().front(), "\nParse PVS secrets image:");
    EXPECT_THAT(messages.texts(),
                testing::IsSupersetOf({"       Offset         : 367", "       Protection     : 0x10000000",
                                       "       Data Size      : 0x16\n"}));
}

TEST(SecretsGenerator, HoldsItemsAgainstTheRules) {
    const TempFolder folder;
    const QString out = folder.write("out.bin", "old");
    const QString ten = folder.write("ten.bin", countingBytes(0, 10));
    const std::string fixedRule = "Error: OTP offset value does not respect the OTP range [59, 95], or 56";
    const std::string recordsRule =
        "Error: OTP [W] : index does not respect the OTP range.\nPossible values :  12, 17, 18, "
        "19, 22, 144, 152, [176, 254], 256 and [260, 367]";
    SecretItem odd = file(59, ten, 1);
    odd.EncWrap.BitValue = 0;
    const struct {
        std::uint32_t device;
        QList<SecretItem> items;
        std::string expected;
    } rows[] = {
        {0x500, {}, ""},
        {0x500, {word(57, "0x1")}, fixedRule},
        {0x501, {word(96, "0x1")}, fixedRule},
        {0x505, {word(255, "0x1")}, recordsRule},
        {0x505, {word(368, "0x1")}, recordsRule},
        {0x502, {word(59, "0x1")}, "Error: "},
        {0x500, {word(59, "0x00000000", 1)}, "Error: [W]\nSecret word is not filled/configured."},
        {0x500, {word(59, "0x1234567g")}, "Error: Invalid hexadecimal value : 0x1234567g"},
        {0x500,
         {word(59, "0x1"), word(59, "0x1")},
         "Error: Overlap detected between secrets at indexes [59] and [59]\nPlease check the size of the secret binary "
         "corresponding to the OTP 59"},
        {0x500,
         {odd},
         "Error: [F]\nNo enryption is activated, file is not 32-bit aligned.\n" + ten.toStdString() + " "},
        {0x500,
         {withNonce(file(59, ten, 1), {})},
         "Warning: [F]\nNonce file is mandatory with AES-CBC and AES-CTR algorithm.\n" + ten.toStdString()},
        {0x500, {file(59, QStringLiteral("nowhere"), 1)}, "Error: Failed to open nowhere file."},
    };
    for (const auto& row : rows) {
        const MessageCapture messages;
        EXPECT_EQ(generateSecrets(row.device, row.items, out), -1);
        EXPECT_EQ(messages.texts(), row.expected.empty() ? std::vector<std::string>() : std::vector{row.expected});
        EXPECT_EQ(folder.read("out.bin"), "old");
    }
    // Fewer digits make fewer bytes than the size field tells: written, but it doesn't read back.
    const MessageCapture messages;
    EXPECT_EQ(generateSecrets(0x505, {word(12, "0x123")}, out), -1);
    EXPECT_EQ(hex(folder.read("out.bin")),
              "0c00000004000000"
              "0123");
    EXPECT_EQ(messages.texts(5), std::vector{"Error: Secrets file is not valid : " + out.toStdString()});
}

TEST(SecretsGenerator, PreviewKeepsOrderAndLeavesOutWhatIsNotFilledIn) {
    QList<SecretSegment> segments;
    const MessageCapture messages;
    ASSERT_EQ(buildSecretSegments({word(59, "", 1), word(60, "0x00000000", 3), word(61, "0x12345678", 1)}, segments,
                                  true, 0x500),
              0);
    ASSERT_EQ(segments.size(), 2);
    EXPECT_EQ(segments.at(0).word, 0x3000003CU);
    EXPECT_EQ(hex(segments.at(1).data), "12345678");
    EXPECT_THAT(messages.texts(), ElementsAre());
}

TEST(SecretsGenerator, RelativePathsCountFromAboveTheProgramsFolder) {
    const QFileInfo programFolder(QCoreApplication::applicationDirPath());
    const MessageCapture messages;
    QList<SecretSegment> segments;
    EXPECT_EQ(buildSecretSegments({file(59, QStringLiteral("./no.bin"), 1)}, segments, false, 0x500), -1);
    EXPECT_EQ(messages.texts(5),
              std::vector{"Error: Failed to open " + programFolder.absolutePath().toStdString() + "/./no.bin file."});
}

}  // namespace
