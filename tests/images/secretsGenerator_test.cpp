#include "images/secretsGenerator.h"

#include "tests/images/ItemDocument.h"
#include "tests/support/MessageCapture.h"

#include <gmock/gmock.h>

namespace {

TEST(SecretsGenerator, ReadsAndListsTheDocument) {
    const TempFolder folder;
    const QString json = writeDocument(folder,
                                       "Nonce=n; \"isFile\"->\"isMandatory\": \"1\", \"isVXOwner\": \"1\", "
                                       "\"expectedSize\": \"32\", \"isFile\" && \"HDPL\"->\"H\"");
    const MessageCapture messages;
    QList<SecretItem> items;
    ASSERT_EQ(parseSecretsJson(json, items), 0);
    EXPECT_TRUE(items[0].isFile && items[0].isMandatory && items[0].isVXOwner);
    EXPECT_EQ(items[0].expectedSize, 32);
    EXPECT_EQ(items[0].Nonce, QStringLiteral("n"));
    EXPECT_EQ(items[0].Lock.PossibleValues.value(1), QStringLiteral("Locked"));
    EXPECT_EQ(items[1].expectedSize, -1);
    EXPECT_EQ(messages.texts()[3], " Path       : " + folder.path("a.bin").toStdString());
    EXPECT_EQ(messages.texts().size(), 26U);  // no line for a nonce, and only the first item has an HDPL line
}

TEST(SecretsGenerator, ListsTheImage) {
    const TempFolder folder;
    const ProtectionField none;
    const SecretItem item{QStringLiteral("name"),
                          QStringLiteral("0x1234ABCD"),
                          367,
                          {28, 1, 1, {}},
                          none,
                          none,
                          none,
                          none,
                          none,
                          QStringLiteral("nonce"),
                          none,
                          false,
                          false,
                          false,
                          1,
                          4};
    const QList<SecretItem> items{item, {.PathOrWord = QStringLiteral("0x01020304"), .Offset = 12, .Format = 1}};
    const MessageCapture messages;
    EXPECT_EQ(generateSecrets(0x505, {}, folder.path("out.bin")), -1);
    ASSERT_EQ(generateSecrets(0x505, items, folder.path("out.bin")), 2);
    EXPECT_THAT(messages.texts(),
                testing::ElementsAre(
                    "Warning: [name]\nNonce file is not empty, it will be ignored with AES-ECB algorithm.\nnonce",
                    "\nParse PVS secrets image:", "  OTP AREAS     ", "       Offset         : 367",
                    "       Protection     : 0x10000000", "       Data Size      : 0x4\n", "  OTP AREAS     ",
                    "       Offset         : 12", "       Protection     : 0x00000000", "       Data Size      : 0x4\n",
                    "PVS Secrets generation SUCCESS"));
}

TEST(SecretsGenerator, PreviewKeepsOrderAndLeavesOutWhatIsNotFilledIn) {
    QList<SecretItem> items(3);
    items[0].Lock = {28, 1, 1, {}};
    items[1].Offset = 16;
    items[2].Offset = 0xFFFFFFFF;
    items[2].PathOrWord = QStringLiteral("0x12345678");
    QList<SecretSegment> segments;
    const MessageCapture messages;
    EXPECT_EQ(buildSecretSegments(items, segments, true, 0x505), -1);
    EXPECT_EQ(messages.texts(), std::vector<std::string>{"Error: The last secret binary [OTP-1] exceeds the maximum "
                                                         "allowed memory"});
    items[2].Offset = 17;
    ASSERT_EQ(buildSecretSegments(items, segments, true, 0x500), 0);
    EXPECT_EQ(std::tuple(segments.size(), segments[0].offset, segments[1].data.toHex()),
              std::tuple(2, 16U, QByteArray("12345678")));
}

TEST(SecretsGenerator, TakesBytesInPlaceOfFiles) {
    const TempFolder folder;
    const QString nonce = folder.write("nonce", countingBytes(0xA0, 16));
    const struct {
        AlgorithmValue algorithm;
        QString nonce;
        QByteArray bytes;
        const char* image;  ///< the data in the image, low byte first; or the fault
    } rows[] = {
        {algorithmEcb, {}, countingBytes(1, 8), "0403020108070605"},
        {algorithmCbc, {}, countingBytes(1, 20), "0403020108070605 0c0b0a09100f0e0d 14131211"},
        {algorithmCbc, nonce, countingBytes(1, 4), "a3a2a1a0a7a6a5a4 abaaa9a8afaeadac 04030201"},
        {algorithmCbc,
         {},
         countingBytes(1, 16),
         "Warning: [x]\nNonce file is mandatory with AES-CBC and AES-CTR algorithm.\n"},
        {algorithmCbc,
         {},
         countingBytes(1, 18),
         "Error: [x]\nNo enryption is activated, file is not 32-bit aligned.\n "},
    };
    for (const auto& row : rows) {
        SecretItem item{.Name = QStringLiteral("x"), .Offset = 260, .Nonce = row.nonce, .isFile = true, .Format = 1};
        item.Algorithm = {19, 3, row.algorithm, {}};
        item.Bytes = row.bytes;
        const MessageCapture messages;
        const bool isMade = generateSecrets(0x505, {item}, folder.path("out.bin")) > 0;
        EXPECT_EQ(isMade ? folder.read("out.bin").mid(8).toHex().toStdString() : messages.texts().front(),
                  isMade ? QByteArray(row.image).replace(" ", "").toStdString() : row.image);
    }
}

}  // namespace
