#include "files/byteWriter.h"
#include "preparation-interface/Preparation.h"
#include "tests/preparation/openImage.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"
#include "tests/support/outsideTool.h"

#include <QCryptographicHash>

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

const QByteArray key = "sixteen byte key";
const QByteArray nonce = "twelve bytes";
const QByteArray baseIv = QCryptographicHash::hash(nonce, QCryptographicHash::Sha256).first(12);

/// Expects that the opener proves an image and detects every changed byte. Returns the parts of the image as one text:
/// "F2000=bytes " for a part with a letter, "bytes " for any other.
template <typename Open>
QByteArray provenContents(QByteArray image, Open open) {
    for (char& byte : image) {
        byte = static_cast<char>(byte ^ 0x80);
        EXPECT_FALSE(open(image).isAuthentic);
        byte = static_cast<char>(byte ^ 0x80);
    }
    const OpenedImage opened = open(image);
    EXPECT_TRUE(opened.isProven);
    QByteArray listed;
    for (const inspect::Content& content : opened.contents) {
        if (content.letter != 0) {
            listed += content.letter + QByteArray::number(content.address, 16) + '=';
        }
        listed += content.bytes + ' ';
    }
    return listed;
}

TEST(UpdateImage, HasItsHeaderAndDecrypts) {
    FileData firmware;
    firmware.segments = {{0x08040000, 5, "bytes and more"}};
    const QByteArray image = Preparation().TBUPreparation(&firmware, key, nonce, 0x0102);
    EXPECT_EQ(image.first(32), "TBUMAGIC" + QByteArray::fromHex("010002010500000000000408") + baseIv);
    EXPECT_EQ(image.sliced(48, 16), QByteArray(16, '\0'));
    const auto open = [](const QByteArray& pair) {
        return openImage("updateImage", pair.first(64), key, nonce, pair.sliced(64));
    };
    EXPECT_EQ(provenContents(image, open), "bytes ");

    const MessageCapture messages;
    firmware.segments[0].address = 0xFFFFFFFB;
    EXPECT_FALSE(Preparation().TBUPreparation(&firmware, key, nonce, 1).isEmpty());
    firmware.segments[0].address = 0xFFFFFFFC;
    EXPECT_TRUE(Preparation().TBUPreparation(&firmware, key, nonce, 1).isEmpty());
    firmware.segments.resize(2);
    EXPECT_TRUE(Preparation().TBUPreparation(&firmware, key, nonce, 1).isEmpty());
    EXPECT_THAT(messages.texts(5),
                ElementsAre("Error: The 5 bytes at address 0xFFFFFFFC go beyond the end of the address space",
                            "Error: An update image needs a firmware of one segment"));
}

TEST(ProvisioningPayload, IsBoundToTheKeyAndDecrypts) {
    const TempFolder folder;
    const QByteArray path = folder.path("").toUtf8() + '/';
    for (const QByteArray curve : {"P-256", "P-384"}) {
        outsideTool("openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:" + curve + " -out " + path + "private");
        outsideTool("openssl pkey -pubout -in " + path + "private -out " + path + curve + ".PEM");
    }
    outsideTool("openssl pkey -pubin -in " + path + "P-256.PEM -outform DER -out " + path + "der");
    const QByteArray keyHash = outsideTool("openssl dgst -sha256 -binary " + path + "der");
    const QByteArray tableHash(32, 't');
    folder.write("table", tableHash);
    folder.write("longer", tableHash + 't');
    const QByteArray blob(152, 'b');
    const QByteArray iv = "a sixteen-b nonc";
    const auto make = [&path](const QByteArray& secrets, const QByteArray& withNonce, const QByteArray& oemKey) {
        QByteArray file = path + oemKey;
        return Preparation().PVSPayloadPreparation(secrets, key, withNonce,
                                                   reinterpret_cast<unsigned char*>(file.data()), 152);
    };
    for (const bool withKey : {true, false}) {
        const QByteArray payload = make(blob, iv, withKey ? "P-256.PEM" : "table");
        EXPECT_EQ(payload.first(64), "PVSPAYLD" + QByteArray::fromHex(withKey ? "0100" : "0200") +
                                         QByteArray::fromHex("600098000000") + iv + (withKey ? keyHash : tableHash));
        EXPECT_EQ(payload.sliced(80, 16), QByteArray(16, '\0'));
        const auto open = [&iv](const QByteArray& file) { return openImage("provisioningPayload", file, key, iv); };
        EXPECT_EQ(provenContents(payload, open), blob + ' ');
    }
    const MessageCapture messages;
    EXPECT_TRUE(make(blob.chopped(1), iv, "table").isEmpty());
    EXPECT_TRUE(make(blob, nonce, "table").isEmpty());
    EXPECT_TRUE(make(blob, iv, "longer").isEmpty());
    EXPECT_TRUE(make(blob, iv, "P-384.PEM").isEmpty());
    const std::string name = path.toStdString();
    EXPECT_THAT(
        messages.texts(5),
        ElementsAre("Error: The blob has 151 bytes, 152 are needed", "Error: The nonce has 12 bytes, 16 are needed",
                    "Error: The root key table hash file " + name + "longer doesn't have 32 bytes",
                    "Error: " + name + "P-384.PEM is not a valid P-256 public key in PEM form"));
}

QByteArray record(std::uint32_t offset, std::uint32_t protection, const QByteArray& data) {
    QByteArray bytes;
    appendU32(bytes, offset);
    appendU32(bytes, protection);
    appendU32(bytes, static_cast<std::uint32_t>(data.size()));
    return bytes + data;
}

TEST(ProvisioningImage, HoldsBlobFirmwareAndBackup) {
    FileData firmware;
    firmware.segments = {{0x2000, 4, "code"}, {0x3000, 0, {}}};
    const QByteArray one = record(0x10, 1, "four");
    const QByteArray two = record(0x20, 2, QByteArray(20, 'r'));
    pvsTbiParameters parameters{
        "secrets", {{0x40000000, {{0x10, 1, 4, one}, {0x20, 2, 20, two}}}}, key, nonce, 9, {nullptr, &firmware}};
    const QByteArray image = Preparation().pvsTbiPreparation(parameters);
    EXPECT_EQ(image.first(42), "PVSMAGIC" + QByteArray::fromHex("01000400") + baseIv +
                                   QByteArray::fromHex("000000005309010007000000000000000400"));
    const auto open = [](const QByteArray& file) { return openImage("provisioningImage", file, key, nonce); };
    EXPECT_EQ(provenContents(image, open), "S0=secrets F2000=code B40000010=" + one + " B40000020=" + two + ' ');
    EXPECT_EQ(key, "sixteen byte key") << "a shared key is left alone";

    const MessageCapture messages;
    parameters.backupSections[0].sections = {{0x20, 1U << 19, 20, "with a nonce of 16"}};
    parameters.backupSections[0].address = 0xFFFFFFDC;
    EXPECT_FALSE(Preparation().pvsTbiPreparation(parameters).isEmpty());
    parameters.backupSections[0].address = 0xFFFFFFDD;
    EXPECT_TRUE(Preparation().pvsTbiPreparation(parameters).isEmpty());
    firmware.segments[0].address = 0xFFFFFFFD;
    EXPECT_TRUE(Preparation().pvsTbiPreparation(parameters).isEmpty());
    parameters.backupSections[0].sections[0].offset = 0x10;
    firmware.segments[0].address = 0;
    parameters.backupSections[0].address = 0xFFFFFFF0;
    EXPECT_TRUE(Preparation().pvsTbiPreparation(parameters).isEmpty());
    parameters.blob.clear();
    EXPECT_TRUE(Preparation().pvsTbiPreparation(parameters).isEmpty());
    EXPECT_THAT(messages.texts(5),
                ElementsAre("Error: The 4 bytes at address 0xFFFFFFFD go beyond the end of the address space",
                            "Error: The 4 bytes at address 0xFFFFFFFD go beyond the end of the address space",
                            "Error: The backup section at offset 0x00000010 is outside the address space",
                            "Error: The blob is empty"));
}

TEST(ModuleFile, HoldsMagicAddressAndLoadImage) {
    const TempFolder folder;
    const MessageCapture messages;
    FileELF elf;
    elf.segments = {{0x105, 2, "yz"}, {0x100, 3, "abc"}};
    for (const std::uint32_t address : {0x105U, 0x102U, 0x01000104U}) {
        elf.segments[0].address = address;
        const bool made = Preparation().KMDPreparation(folder.path("module.kmd").toStdString(), &elf, nullptr, false,
                                                       0x08040000, {}, {}, {}, {});
        EXPECT_EQ(made, address == 0x105);
    }
    // Each gap is within the limit, but the sum of the gaps isn't.
    elf.segments = {{0, 1, "a"}, {0x900000, 1, "b"}, {0x1200000, 1, "c"}};
    EXPECT_FALSE(
        Preparation().KMDPreparation(folder.path("module.kmd").toStdString(), &elf, nullptr, false, 0, {}, {}, {}, {}));
    EXPECT_EQ(folder.read("module.kmd"), "KMDMAGIC" + QByteArray::fromHex("00000408") + "abc\xFF\xFFyz");
    EXPECT_THAT(messages.texts(5),
                ElementsAre("Error: The ELF file has overlapping segments at address 0x00000102",
                            "Error: The segments of the ELF file are too far apart, at address 0x01000104",
                            "Error: The segments of the ELF file are too far apart, at address 0x01200000"));
}

}  // namespace
