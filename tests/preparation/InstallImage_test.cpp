#include "Preparation/secureImages/installImage.h"
#include "files/byteWriter.h"
#include "formats/readers.h"
#include "preparation-interface/Preparation.h"
#include "tests/preparation/openImage.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <QCryptographicHash>

#include <gmock/gmock.h>

#include <set>

namespace {

using testing::ElementsAre;

const QByteArray imageKey = "sixteen byte key";
const QByteArray imageNonce = "twelve bytes";
const QByteArray imageBaseIv = QCryptographicHash::hash(imageNonce, QCryptographicHash::Sha256).first(12);

QByteArray words(std::initializer_list<std::uint32_t> values) {
    QByteArray bytes;
    std::for_each(values.begin(), values.end(), [&bytes](std::uint32_t value) { appendU32(bytes, value); });
    return bytes;
}

FileSegment segment(std::uint32_t address, const QByteArray& bytes) {
    return {address, static_cast<std::uint32_t>(bytes.size()), bytes};
}

FileTBI moduleOf(const std::vector<TbiArea>& areas) {
    return {{fileTypeXtbi, 2, {}}, "header,", 0, 1, 1, {}, 0, areas};
}

/// A content with one file of every kind.
struct Everything {
    FileTBI xtbi = moduleOf({{0, 0, "payload,", 0, "first,", 0, {}, 0}, {0, 0, {}, 0, "last", 0, {}, 0}});
    FileOBK obk{{fileTypeObk, 1, {segment(0, "obk data")}}, {0x00, 0x10, 0x00, 0x10, 8, 0, 0, 0, 1, 0, 0, 0}};
    FileData keyArea{0, 1, {segment(0, words({1, 2}))}};
    FileData diversification{0, 1, {segment(0, words({3}))}};
    FileData module{0, 1, {segment(0x99, QByteArray("KMDMAGIC") + words({0x08100000}) + "code")}};
    FileData relocatable{0, 1, {segment(0x08200000, "KMDMAGIC")}};
    FileMCSV mcsv{{}, {{1, 0x08300000, 3, 3, 2, "lic", "id", "mod", {}}}};
    FileData firmware{0, 3, {segment(0x08001000, "second"), segment(0x08000000, "first"), segment(0x08000800, "")}};
    FileData external{0, 1, {segment(0x70000100, "external")}};
    FileECSV ecsv{{}, {{0, 0xB0000000, 3, 0, 2, 4, 1, 0x08003000, {}, "id", "ext", {}}}};
    FileData optionBytes{0, 1, {segment(0, words({4}))}};
    InstallImageContent content{&xtbi,
                                {nullptr, &obk},
                                &keyArea,
                                &diversification,
                                {&module, nullptr, &relocatable},
                                &mcsv,
                                &firmware,
                                &external,
                                {{0x70000100, 3, 7, 0x08002000}, {0x70000100, 9, 9, 9}},
                                &ecsv,
                                &optionBytes,
                                0xA5,
                                true};
};

OpenedImage openInstallImage(const QByteArray& image, const QByteArray& nonce = imageNonce) {
    return openImage("installImage", image, imageKey, nonce);
}

/// The areas as "letter address:size". A P area is "P" and the two numbers that it contains.
std::string layoutOf(const InstallImageContent& content, const QByteArray& nonce = imageNonce) {
    std::string text;
    const OpenedImage opened = openInstallImage(makeInstallImage(content, imageKey, nonce), nonce);
    EXPECT_TRUE(opened.isAuthentic);
    for (const inspect::Content& area : opened.contents) {
        text += std::string(text.empty() ? "" : " ") + area.letter;
        text += area.letter == 'P'
                    ? std::to_string(area.bytes.at(0)) + ',' + std::to_string(area.bytes.at(4))
                    : QByteArray::number(area.address, 16).toStdString() + ':' + std::to_string(area.bytes.size());
    }
    return text;
}

TEST(InstallImage, HoldsEveryAreaInOrder) {
    Everything all;
    const QByteArray image = Preparation().TBIPreparation(
        &all.firmware, true, all.content.provisioningData, &all.optionBytes, imageKey, imageNonce, 0xA5, true,
        all.content.modules, 0, 0, &all.xtbi, &all.mcsv, &all.ecsv, 0x450, &all.external, &all.keyArea,
        &all.diversification, all.content.externalRegions);
    EXPECT_EQ(image.first(42), "TBIMAGIC" + QByteArray::fromHex("02001000") + imageBaseIv +
                                   QByteArray::fromHex("0000000053a5010019000000000000001000"));
    const struct {
        char letter;
        std::uint32_t address;
        QByteArray bytes;
    } expected[]{
        {'S', 0, "header,first,payload,last"},
        {'O', 0x10001000, words({0x10001000, 8, 1}) + "obk data"},
        {'K', 0, words({1, 2})},
        {'R', 0, words({3})},
        {'M', 0x08100000, QByteArray("KMDMAGIC") + words({0x08100000}) + "code"},
        {'M', 0x08200000, "KMDMAGIC"},
        {'m', 0x08300000, words({1}) + "lic"},
        {'m', 0x08300000, words({2}) + "id"},
        {'M', 0x08300000, "mod"},
        {'F', 0x08000000, "first"},
        {'F', 0x08001000, "second"},
        {'E', 0x70000100, "external"},
        {'m', 0xB0000000, words({2}) + "id"},
        {'e', 0xB0000000, "ext"},
        {'H', 0, {}},
        {'C', 0, words({4})},
    };
    const OpenedImage opened = openInstallImage(image);
    ASSERT_EQ(opened.contents.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const inspect::Content& area = opened.contents[i];
        EXPECT_TRUE(area.letter == expected[i].letter && area.address == expected[i].address) << i;
        EXPECT_TRUE(area.letter == 'H' || area.bytes == expected[i].bytes) << i;
    }
    EXPECT_TRUE(opened.isProven) << "with its digest and the keys of its regions";
    EXPECT_TRUE(image.contains(words({0x70000100, 3, 7, 0x08002000})));
    EXPECT_TRUE(image.contains(words({0xB0000000, 1, 4, 0x08003000})));
    EXPECT_EQ(makeInstallImage(all.content, imageKey, imageNonce), image) << "the same inputs give the same bytes";
}

TEST(InstallImage, ShowsEveryChangedByteAndSatisfiesItsReader) {
    Everything all;
    for (const InstallImageContent& content : {all.content, InstallImageContent()}) {
        QByteArray image = makeInstallImage(content, imageKey, imageNonce);
        EXPECT_TRUE(openInstallImage(image).isAuthentic);
        for (char& byte : image) {
            byte = static_cast<char>(byte ^ 1);
            EXPECT_FALSE(openInstallImage(image).isAuthentic);
            byte = static_cast<char>(byte ^ 1);
        }
        TempFolder folder;
        QFile file(folder.write("image.tbi", image));
        FileLoadContext context;
        std::shared_ptr<FileData> record;
        EXPECT_TRUE(file.open(QIODevice::ReadOnly) && readTbiFile(context, file, record));
    }
    all.xtbi.fileType = fileTypeBinary;  // in a binary only the segments count
    all.xtbi.segments = {segment(0, "ab"), segment(9, "c")};
    for (const qsizetype size : {1, 11, 12, 13, 64}) {
        EXPECT_EQ(layoutOf({.packagedModule = &all.xtbi}, QByteArray(size, 'n')), "S0:3 C0:0");
    }
}

// The IV combines the nonce with the area number. Consecutive nonces and area numbers must not give the same IV.
TEST(InstallImage, SharesNoIvWithItsNeighbours) {
    const FileData firmware{0, 2, {segment(0x08000000, "first"), segment(0x08001000, "second")}};
    for (const qsizetype nonceSize : {4, 12, 16}) {
        std::set<QByteArray> ivs;
        for (int count = 0; count < 256; ++count) {
            const QByteArray nonce = QByteArray(nonceSize - 1, 'n') + static_cast<char>(count);
            const QByteArray image = makeInstallImage({.firmware = &firmware, .hash = true}, imageKey, nonce);
            for (int number = 1; number <= image.at(10); ++number) {
                QByteArray iv = image.sliced(12, 12);
                iv[11] = static_cast<char>(iv.at(11) ^ number);
                EXPECT_TRUE(ivs.insert(iv).second) << "nonce " << count << ", area " << number;
            }
        }
        EXPECT_EQ(ivs.size(), 256 * 4);
    }
}

// With 30-byte headers and a token, each part reserves 38 bytes for a P area at its end.
TEST(InstallImage, CutsToTheRamSize) {
    const struct {
        std::uint32_t ramSize, token;
        int keyArea, firmware, optionBytes;
        const char* layout;
    } rows[]{
        {0, 1, 0, 400, 0, "K0:0 F8000000:400 H0:32 C0:0"},
        {128, 0, 98, 98, 98, "K0:98 F8000000:98 H0:32 C0:98"},
        {128, 0, 0, 99, 0, "K0:0 F8000000:96 F8000060:3 H0:32 C0:0"},
        {128, 0, 0, 200, 0, "K0:0 F8000000:96 F8000060:96 F80000c0:8 H0:32 C0:0"},
        {256, 1, 0, 300, 0, "K0:0 F8000000:128 P1,4 F8000080:172 P2,2 H0:32 C0:0"},
        {256, 1, 100, 100, 0, "K0:100 F8000000:32 P1,3 F8000020:68 H0:32 C0:0"},
        {256, 1, 126, 100, 0, "K0:126 F8000000:32 P1,3 F8000020:68 H0:32 C0:0"},
        {256, 1, 127, 100, 0, "K0:127 P1,4 F8000000:100 H0:32 P2,1 C0:0"},
        {256, 1, 188, 28, 68, "K0:188 P1,3 F8000000:28 H0:32 C0:68"},
        {256, 1, 188, 28, 69, "K0:188 P1,4 F8000000:28 H0:32 P2,1 C0:69"},
    };
    for (const auto& row : rows) {
        const FileData keyArea{0, 1, {segment(0, QByteArray(row.keyArea, 'k'))}};
        const FileData firmware{0, 1, {segment(0x08000000, QByteArray(row.firmware, 'f'))}};
        const FileData optionBytes{0, 1, {segment(0, QByteArray(row.optionBytes, 'c'))}};
        EXPECT_EQ(layoutOf({.keyArea = &keyArea,
                            .firmware = &firmware,
                            .optionBytes = &optionBytes,
                            .hash = true,
                            .ramSize = row.ramSize,
                            .continuationToken = row.token}),
                  row.layout);
    }
}

TEST(InstallImage, RefusesWithOneMessage) {
    // With 128 bytes of RAM, this firmware needs 65533 areas. An H area and a C area are added.
    constexpr qsizetype most = qsizetype{65533} * 96;
    FileData large{0, 1, {segment(0x08000000, QByteArray(most, 'f'))}};
    EXPECT_FALSE(makeInstallImage({.firmware = &large, .hash = true, .ramSize = 128}, imageKey, imageNonce).isEmpty());
    large.segments[0] = segment(0x08000000, QByteArray(most + 3, 'f'));
    const FileData small{0, 1, {segment(0x08000000, QByteArray(29, 'f'))}};
    const FileData external{0, 1, {segment(0x70000100, "x")}};
    const FileData optionBytes{0, 1, {segment(0, QByteArray(99, 'c'))}};
    const FileECSV noModules;
    FileData atEnd{0, 1, {segment(0xFFFFFFF0, QByteArray(16, 'x'))}};
    const QList<ExtBinInfo> endRegion = {{0xFFFFFFF0, 0, 0, 0}};
    FileMCSV moduleAtEnd{{}, {{1, 0xFFFFFFF0, 0, 0, 16, {}, {}, QByteArray(16, 'x'), {}}}};
    FileECSV externalModuleAtEnd{{}, {{0, 0xFFFFFFF0, 0, 0, 16, 0, 0, 0, {}, {}, QByteArray(16, 'x'), {}}}};
    const auto endContents = [&]() -> std::vector<InstallImageContent> {
        return {{.moduleList = &moduleAtEnd},
                {.firmware = &atEnd},
                {.externalFirmware = &atEnd, .externalRegions = endRegion},
                {.externalModuleList = &externalModuleAtEnd}};
    };
    for (const InstallImageContent& content : endContents()) {
        EXPECT_FALSE(makeInstallImage(content, imageKey, imageNonce).isEmpty());
    }
    atEnd.segments[0] = segment(0xFFFFFFF0, QByteArray(17, 'x'));
    moduleAtEnd.modules[0].moduleData += 'x';
    externalModuleAtEnd.modules[0].moduleData += 'x';
    for (const InstallImageContent& content : endContents()) {
        const MessageCapture messages;
        EXPECT_TRUE(makeInstallImage(content, imageKey, imageNonce).isEmpty());
        EXPECT_THAT(messages.texts(5),
                    ElementsAre("Error: The 17 bytes at address 0xFFFFFFF0 go beyond the end of the address space"));
    }
    const struct {
        const char* message;
        InstallImageContent content;
    } rows[]{
        {"There are no region settings for the external firmware at address 0x70000100",
         {.externalFirmware = &external, .externalRegions = {{0x70000200, 0, 0, 0}}}},
        {"The region mode 4 for address 0x70000100 is invalid, it must be between 0 and 3",
         {.externalFirmware = &external, .externalRegions = {{0x70000100, 4, 0, 0}}}},
        {"The region number 8 for address 0x70000100 is invalid, it must be between 0 and 7",
         {.externalFirmware = &external, .externalRegions = {{0x70000100, 0, 8, 0}}}},
        {"A RAM size of 127 is too small, at least 128 are needed", {.ramSize = 127}},
        {"The C area for address 0x00000000 has 99 bytes, with a RAM size of 128 it can have 98",
         {.optionBytes = &optionBytes, .ramSize = 128}},
        {"The firmware segment at address 0x08000000 can't be cut to a RAM size of 128",
         {.firmware = &small, .externalModuleList = &noModules, .ramSize = 128, .continuationToken = 1}},
        {"The image needs more than 65535 areas", {.firmware = &large, .hash = true, .ramSize = 128}},
        {"The image needs more than 65535 areas",  // reported first, although the C area is too large
         {.keyArea = &atEnd, .firmware = &large, .optionBytes = &optionBytes, .hash = true, .ramSize = 128}},
    };
    for (const auto& row : rows) {
        const MessageCapture messages;
        EXPECT_TRUE(makeInstallImage(row.content, imageKey, imageNonce).isEmpty());
        EXPECT_THAT(messages.texts(5), ElementsAre(std::string("Error: ") + row.message));
    }
    EXPECT_TRUE(makeInstallImage({}, imageKey.chopped(1), imageNonce).isEmpty());
    EXPECT_TRUE(makeInstallImage({}, imageKey, {}).isEmpty());
}

}  // namespace
