#include "inspect/decode.h"
#include "files/byteWriter.h"
#include "inspect/Report.h"
#include "inspect/describeCode.h"
#include "tests/inspect/SealingKit.h"
#include "tests/inspect/SigningKit.h"

#include <QMessageAuthenticationCode>

#include <gtest/gtest.h>

#include <random>

namespace {

using inspect::Description;

Description decoded(const QByteArray& bytes, const inspect::Decoding& decoding, const char* as = nullptr) {
    const inspect::Source source = {QStringLiteral("a.x"), bytes, {}, {}};
    Description description =
        inspect::describe(source, as == nullptr ? nullptr : inspect::formatByName(QLatin1String(as)));
    inspect::Evidence evidence;
    evidence.key = QByteArray(kitKey.constData(), kitKey.size());
    inspect::Contents contents;
    inspect::prove(source, evidence, description, &contents);
    inspect::decode(contents, evidence, decoding, description);
    return description;
}

inspect::Report reportOf(Description description) {
    inspect::Report report;
    report.command = QStringLiteral("show");
    report.files.push_back(std::move(description));
    return report;
}

/// The printed text from the first line about contents on.
std::string contentsText(Description description) {
    const std::string text = inspect::printText(reportOf(std::move(description))).toStdString();
    const std::size_t start = text.find("contents of");
    return start == std::string::npos ? std::string() : text.substr(start);
}

QByteArray words(std::initializer_list<std::uint32_t> values) {
    QByteArray bytes;
    for (const std::uint32_t value : values) {
        appendU32(bytes, value);
    }
    return bytes;
}

/// Firmware for `address`: vectors, a text and fill.
QByteArray firmware(std::uint32_t address) {
    QByteArray bytes = words({0x20000400, address + 0x41});
    for (int i = 0; i < 14; ++i) {
        appendU32(bytes, i < 2 ? address + 0x41 : 0);
    }
    bytes += QByteArray::fromHex("00BF") + "short" + QByteArray(1, '\0') + "a text\"\x7f" + "longer text" + '\0';
    return bytes + QByteArray(256, '\xff') + QByteArray(255, '\0');
}

KitArea area(char letter, std::uint32_t address, const QByteArray& payload) {
    return {letter, address, payload, {}, {}, {}, {}, {}};
}

KitImage wholeImage() {
    KitMcuboot update;
    constexpr std::uint32_t header = 32;
    update.code = firmware(0x08040000 + header);
    KitImage image;
    image.areas = {area('S', 0, kitPackagedModule()),
                   area('O', 0x10000100, words({0x10000100, 13, 1}) + "S3cret-bytes1"),
                   area('K', 0, "S3cret-bytes2..."),
                   area('R', 0, "S3cret-bytes3..."),
                   area('m', 0x08010000, words({1}) + "licence"),
                   area('m', 0x08010000, words({2}) + "LAMP-7"),
                   area('M', 0x08010000, "KMDMAGIC" + words({0x08010000}) + firmware(0x08010000)),
                   area('M', 0x08040000, kitMake(update)),
                   area('F', 0x08000000, firmware(0x08000000)),
                   area('P', 0x0800F000, words({1, 2}))};
    image.areas.push_back(kitHash(image.areas));
    image.areas.push_back(area('C', 0, words({0x00000506, 0x00000001})));
    return image;
}

devices::Device device() {
    devices::DeviceField level;
    level.name = QStringLiteral("Level");
    level.bit = 8;
    level.width = 4;
    level.values = {{5, QStringLiteral("Open"), {}}};
    devices::DeviceField wide;
    wide.name = QStringLiteral("All");
    wide.width = 32;
    devices::DeviceRegister first;
    first.name = QStringLiteral("PROTECTION");
    first.fields = {level};
    devices::DeviceRegister second;
    second.name = QStringLiteral("START");
    second.fields = {wide};
    devices::Device device;
    device.deviceId = 0x777;
    device.name = QStringLiteral("Test device");
    device.registers = {first, second};
    return device;
}

TEST(InspectDecode, ShowsEachKindOfContent) {
    inspect::Decoding decoding;
    decoding.registers.devices.devices = {{device(), {}, false}};
    decoding.texts = 1;
    const KitImage image = wholeImage();
    const std::string licence = kitSha256("licence").toHex().toStdString();
    const std::string hash = image.areas[10].payload.toHex().toStdString();
    const std::string vectors = "vector count 16, text count 1, text size 11\n";
    EXPECT_EQ(contentsText(decoded(kitMake(image), decoding)),
              "contents of area 1 S: packaged module, 228 bytes\n"
              "  packaged module, 228 bytes, protocol version 65001, image version 7, area count 2, nonce "
              "6e6e6e6e6e6e6e6e6e6e6e6e6e6e6e6e\n"
              "  area 1 F firmware      at 128  0x08000000-0x08000003  4 bytes\n"
              "  area 2 C option bytes  at 178  0x08000000             4 bytes\n"
              "contents of area 2 O: provisioning data, 25 bytes\n"
              "  provisioning file, 25 bytes, destination address 0x10000100, body size 13, encryption flag 1\n"
              "  payload 1  at 12  0x10000100-0x1000010C  13 bytes\n"
              "  note: it contains no digest of its content\n"
              "  contents of payload 1: secret, 13 bytes, not shown\n"
              "contents of area 3 K: key area, 16 bytes, not shown\n"
              "contents of area 4 R: diversification, 16 bytes, not shown\n"
              "contents of area 5 m: module record, 11 bytes, record kind licence, sha256 " +
                  licence +
                  "\n"
                  "contents of area 6 m: module record, 10 bytes, record kind identity, identity LAMP-7\n"
                  "contents of area 7 M: module, 615 bytes\n"
                  "  module file, 615 bytes, load address 0x08010000\n"
                  "  code 1  at 12  0x08010000-0x0801025A  603 bytes\n"
                  "  contents of code 1: firmware, 603 bytes, stack pointer 0x20000400, reset handler 0x08010040, " +
                  vectors +
                  "    0x0801005C-0x0801015B filled with FF\n"
                  "    0x08010050 \"longer text\"\n"
                  "contents of area 8 M: module, 687 bytes\n"
                  "  MCUboot image, 687 bytes, load address 0x08010000, header size 32, protected tlv size 12, "
                  "image size 603, flags 0x00000000, version 1.2.3+4\n"
                  "  code 1           at 32   603 bytes\n"
                  "  protected TLV 2  at 639    4 bytes, type security counter, value 117901063\n"
                  "  TLV 3            at 651   32 bytes, type sha256\n"
                  "  note: it isn't signed\n"
                  "  contents of code 1: firmware, 603 bytes, stack pointer 0x20000400, reset handler 0x08040060, " +
                  vectors +
                  "    0x0804007C-0x0804017B filled with FF\n"
                  "    0x08040070 \"longer text\"\n"
                  "contents of area 9 F: firmware, 603 bytes, stack pointer 0x20000400, reset handler 0x08000040, " +
                  vectors +
                  "  0x0800005C-0x0800015B filled with FF\n"
                  "  0x08000050 \"longer text\"\n"
                  "contents of area 10 P: part end, 8 bytes, part number 1, areas left 2\n"
                  "contents of area 11 H: hash, 32 bytes, sha256 " +
                  hash +
                  "\n"
                  "contents of area 12 C: option bytes, 8 bytes, device ID 0x00000777, device Test device\n"
                  "  word 1 PROTECTION 0x00000506: Level 5 (Open)\n"
                  "  word 2 START 0x00000001: All 1\n");
}

TEST(InspectDecode, ShowsSecretsOnlyIfAsked) {
    const QByteArray secret = "S3cret-bytes.";
    KitImage install = wholeImage();
    install.areas[1].payload = words({0x10000100, 13, 0}) + secret;
    install.areas[2].payload = secret + "abc";
    install.areas[3].payload = secret + "def";
    KitImage provisioning = kitProvisioningImage();
    provisioning.areas[0].payload = secret;
    provisioning.areas[2].payload = words({0, 0, 16}) + secret + "ghi";
    struct Row {
        QByteArray bytes;
        const char* as;
        QByteArrayList secrets;
    };
    const Row rows[] = {
        {kitMake(install), nullptr, {secret, secret + "abc", secret + "def"}},
        {kitMake(provisioning), nullptr, {secret, secret + "ghi"}},
        {kitPayload(secret, QByteArray(32, 'b')), nullptr, {secret}},
        {kitPayload(words({1, 13, 0}) + secret, QByteArray(32, 'b')), nullptr, {secret}},  // a file in the blob
        {words({0x10000100, 13, 0}) + secret, "provisioningFile", {secret}},
        {words({0, 0, 13}) + secret, "backupImage", {secret}},
        {words({260, 13}) + secret, "secretsRecords", {secret}},
        {QByteArray::fromHex("800000000d000000") + secret, "passwordFile", {secret}},
    };
    for (const Row& row : rows) {
        const QByteArray site(32, 's');
        inspect::Decoding decoding;
        decoding.siteSecret = site;
        for (const bool isRevealed : {false, true}) {
            decoding.revealsSecrets = isRevealed;
            const inspect::Report report = reportOf(decoded(row.bytes, decoding, row.as));
            const QByteArray output = inspect::printText(report) + inspect::printJson(report);
            EXPECT_FALSE(output.contains("S3cret")) << output.constData();
            EXPECT_FALSE(output.contains(secret.first(9).toBase64())) << output.constData();
            EXPECT_EQ(output.contains(secret.first(6).toHex()), isRevealed) << output.constData();
            for (const QByteArray& one : row.secrets) {
                const QByteArray fingerprint =
                    QMessageAuthenticationCode::hash(kitSha256(one), site, QCryptographicHash::Sha256).toHex();
                EXPECT_EQ(output.count("fingerprint " + fingerprint), row.secrets.count(one)) << output.constData();
            }
        }
    }
}

TEST(InspectDecode, FindsVectorTables) {
    constexpr std::uint32_t start = 0x08000000;
    struct Row {
        const char* name;
        std::uint32_t stack;
        std::uint32_t reset;
        std::uint32_t nmi;
        bool hasAddress;
        bool isFound;
    };
    constexpr Row rows[] = {
        {"usual", 0x20000400, start + 0x41, start + 0x43, true, true},
        {"handlers of another segment", 0x20000400, 0x09000001, start + 0x43, true, true},
        {"no Thumb code", 0x20000400, start + 0x40, start + 0x43, true, false},
        {"a handler outside", 0x20000400, start + 0x41, 0x0A000001, true, false},
        {"just after the memory", 0x20000400, start + 0x41, start + 65, true, false},
        {"no stack pointer", 0, start + 0x41, start + 0x43, true, false},
        {"the stack in the code", start + 0x20, start + 0x41, start + 0x43, true, false},
        {"stack not aligned", 0x20000402, start + 0x41, start + 0x43, true, false},
        {"no address", 0x20000400, start + 0x21, start + 0x43, false, true},
        {"no address, handlers far away", 0x20000400, start + 0x21, start + 0x143, false, false},
    };
    for (const Row& row : rows) {
        inspect::Content content;
        content.bytes = words({row.stack, row.reset, row.nmi}) + QByteArray(65 - 12, '\0');
        content.hasAddress = row.hasAddress;
        content.address = row.hasAddress ? start : 0;
        const bool isShort = row.nmi == start + 65;
        const std::uint64_t end = isShort ? start + 65 : start + 0x44;
        inspect::Decoded decoded;
        inspect::describeCode(content, {{start, end}, {0x09000000, 0x09000010}}, 0, decoded);
        const bool isFound = !decoded.fields.empty() && QByteArrayView(decoded.fields.front().name) == "stackPointer";
        EXPECT_EQ(isFound, row.isFound) << row.name;
    }
}

// A plain model finds the runs and texts byte by byte.
TEST(InspectDecode, FindsFillAndTextsLikeAModel) {
    std::mt19937 random(7);
    for (int turn = 0; turn < 400; ++turn) {
        inspect::Content content;
        content.hasAddress = true;
        content.address = 0x1000;
        while (content.bytes.size() < 2000) {
            const auto length = static_cast<qsizetype>(random() % 3 == 0 ? 240 + random() % 40 : random() % 12);
            content.bytes += random() % 2 == 0 ? QByteArray(length, "\xff\0a"[random() % 3])
                                               : QByteArray("printable~ ").first(std::min<qsizetype>(length, 11)) +
                                                     QByteArray(1, "\0\n\x80"[random() % 3]);
        }
        std::string expected;
        for (qsizetype at = 0, end = 0; at < content.bytes.size(); at = end) {
            for (end = at; end < content.bytes.size() && content.bytes.at(end) == content.bytes.at(at); ++end) {
            }
            expected += end - at < 256 ? "" : std::to_string(at) + '-' + std::to_string(end) + ' ';
        }
        QByteArray text;
        for (const char byte : content.bytes) {
            expected += byte == 0 && text.size() >= 6 ? text.toStdString() + '|' : "";
            text = byte >= ' ' && byte <= '~' ? text + byte : QByteArray();
        }
        inspect::Decoded decoded;
        inspect::describeCode(content, {}, 1000, decoded);
        std::string found;
        for (const inspect::FilledRange& range : decoded.filled) {
            found += std::to_string(range.from - 0x1000) + '-' + std::to_string(range.to - 0x1000 + 1) + ' ';
        }
        for (const inspect::FoundText& one : decoded.texts) {
            EXPECT_EQ(content.bytes.indexOf(one.text, static_cast<qsizetype>(one.address - 0x1000)),
                      static_cast<qsizetype>(one.address - 0x1000));
            found += one.text.toStdString() + '|';
        }
        ASSERT_EQ(found, expected) << turn;
    }
}

// Each segment of the ELF file is the whole file, so each level of files within files has 16 times the bytes.
TEST(InspectDecode, FilesWithinFilesStayWithinABudget) {
    constexpr int segments = 16;
    const auto size = static_cast<std::uint32_t>(52 + 32 * segments);
    QByteArray elf = QByteArray::fromHex("7f454c46010101").leftJustified(16, '\0');
    elf += words({0x00280002, 1, 0, 52, 0, 0, 0x00200034, 0x00280000 | segments, 0});
    for (std::uint32_t i = 0; i < segments; ++i) {
        elf += words({1, 0, 0, i << 16, size, size, 5, 4});
    }
    const Description description = decoded(elf, {}, "elfFile");
    std::vector<const Description*> files = {&description};
    for (std::size_t i = 0; i < files.size(); ++i) {
        for (const inspect::Decoded& content : files[i]->decoded) {
            for (const Description& inner : content.inner) {
                files.push_back(&inner);
            }
        }
    }
    EXPECT_GT(files.size(), 4U);
    EXPECT_LE(files.size(), 1 + 4 * segments);
    EXPECT_FALSE(inspect::printText(reportOf(description)).isEmpty());
}

TEST(InspectDecode, NamesOptionWordsOfTheOnlyDeviceThatFits) {
    inspect::RegisterNames names;
    devices::Device other = device();
    other.deviceId = 0x778;
    names.devices.devices = {{device(), {}, false}};
    EXPECT_EQ(names.deviceFor(2)->deviceId, 0x777U);
    EXPECT_EQ(names.deviceFor(3), nullptr);
    names.devices.devices.append({other, {}, false});
    EXPECT_EQ(names.deviceFor(2), nullptr);
    names.deviceId = 0x778;
    EXPECT_EQ(names.deviceFor(3)->deviceId, 0x778U);
    const std::vector<inspect::OptionWord> read = inspect::readOptionWords(words({0x600, 7, 8}) + "x", &other);
    ASSERT_EQ(read.size(), 3U);
    EXPECT_EQ(read[0].fields[0].value, 6U);
    EXPECT_EQ(read[0].fields[0].meaning, QString());
    EXPECT_EQ(read[2].name, QString());
    EXPECT_EQ(inspect::readOptionWords(QByteArray(300000, '\1'), &other).size(), inspect::mostOptionWords);
}

}  // namespace
