#include "tests/inspect/Inspection.h"
#include "tests/inspect/SealingKit.h"
#include "tests/inspect/SigningKit.h"

#include "files/byteWriter.h"

// Tests of firmware and modules, signed or as compilers write them: the text of `show`, and the broken rules.

namespace {

/// A 32-bit ELF file with two loadable segments.
QByteArray elf(bool isBigEndian = false) {
    QByteArray bytes = QByteArray::fromHex(isBigEndian ? "7f454c46010201" : "7f454c46010101");
    bytes.resize(16, '\0');
    const auto half = [&](std::uint32_t value) {
        appendU16(bytes, static_cast<std::uint16_t>(isBigEndian ? (value & 0xFF) << 8 | (value >> 8 & 0xFF) : value));
    };
    const auto word = [&](std::uint32_t value) {
        half(isBigEndian ? value >> 16 : value);
        half(isBigEndian ? value : value >> 16);
    };
    half(2);
    half(40);
    word(1);
    word(0x08000041);
    word(52);
    word(0);
    word(0);
    for (const std::uint32_t value : {52U, 32U, 2U, 40U, 0U, 0U}) {
        half(value);
    }
    for (const std::uint32_t address : {0x08000000U, 0x08000100U}) {
        word(1);
        word(address == 0x08000000U ? 116 : 124);
        word(0x20000000);
        word(address);
        word(8);
        word(8);
        word(5);
        word(4);
    }
    return bytes + "segment1segment2symbols";
}

/// An ELF file whose `count` segments are each the whole file.
QByteArray greedyElf(int count) {
    constexpr qsizetype header = 52;
    constexpr qsizetype entry = 32;
    QByteArray bytes = elf().first(header);
    bytes[44] = static_cast<char>(count);
    const auto size = static_cast<std::uint32_t>(header + entry * count);
    for (int i = 0; i < count; ++i) {
        for (const std::uint32_t value : {1U, 0U, 0U, static_cast<std::uint32_t>(i) << 16, size, size, 5U, 4U}) {
            appendU32(bytes, value);
        }
    }
    return bytes;
}

std::uint8_t sumOf(const QByteArray& bytes) {
    std::uint8_t sum = 0;
    for (const char byte : bytes) {
        sum = static_cast<std::uint8_t>(sum + static_cast<std::uint8_t>(byte));
    }
    return sum;
}

QByteArray hexRecord(const char* digits) {
    const QByteArray record = QByteArray::fromHex(digits);
    return ':' + (record + static_cast<char>(-sumOf(record))).toHex().toUpper() + '\n';
}

QByteArray sRecord(char type, const char* digits) {
    const QByteArray record = QByteArray::fromHex(digits);
    return QByteArray("S") + type + (record + static_cast<char>(~sumOf(record))).toHex().toUpper() + "\r\n";
}

// Two segments: one at address 0, and one in two records after an address record.
QByteArray hexFile(const char* last = "04001400090A0B0C") {
    return hexRecord("0400000001020304") + hexRecord("020000040800") + hexRecord("0400100005060708") + hexRecord(last) +
           hexRecord("00000001");
}

QByteArray sRecordFile() {
    return sRecord('0', "030000") + sRecord('1', "07000001020304") + sRecord('9', "030000");
}

TEST(InspectFirmware, IsShown) {
    KitMcuboot image;
    image.flags = 0x20;
    struct Row {
        const char* name;
        QByteArray bytes;
        const char* text;
    };
    const Row rows[] = {
        {"a.x", hexFile(),
         "a.x: Intel HEX file by content, 88 bytes\n"
         "segment 1  0x00000000-0x00000003  4 bytes\n"
         "segment 2  0x08000010-0x08000017  8 bytes\n"
         "memory 0x00000000-0x00000003\n"
         "memory 0x08000010-0x08000017\n"},
        {"a.x", sRecordFile(),
         "a.x: S-Record file by content, 44 bytes\n"
         "segment 1  0x00000000-0x00000003  4 bytes\n"},
        {"a.x", elf(),
         "a.x: ELF file by content, 139 bytes, machine 40, entry 0x08000041\n"
         "segment 1  at 116  0x08000000-0x08000007  8 bytes, virtual address 0x20000000\n"
         "segment 2  at 124  0x08000100-0x08000107  8 bytes, virtual address 0x20000000\n"
         "memory 0x08000000-0x08000007\n"
         "memory 0x08000100-0x08000107\n"},
        {"a.x", elf(true),
         "a.x: ELF file by content, 139 bytes, machine 40, entry 0x08000041\n"
         "segment 1  at 116  0x08000000-0x08000007  8 bytes, virtual address 0x20000000\n"
         "segment 2  at 124  0x08000100-0x08000107  8 bytes, virtual address 0x20000000\n"
         "memory 0x08000000-0x08000007\n"
         "memory 0x08000100-0x08000107\n"},
        {"a.bin", "raw",
         "a.bin: raw firmware by suffix, 3 bytes\n"
         "content 1  at 0  3 bytes\n"
         "note: nothing in the content shows the format; the suffix decided\n"},
        {"a.x", "KMDMAGIC" + QByteArray::fromHex("00000108") + "code",
         "a.x: module file by content, 16 bytes, load address 0x08010000\n"
         "code 1  at 12  0x08010000-0x08010003  4 bytes\n"},
        {"a.x", kitMake(image),
         "a.x: MCUboot image by content, 124 bytes, load address 0x08010000, header size 32, protected tlv size 12, "
         "image size 40, flags 0x00000020, version 1.2.3+4\n"
         "code 1           at 32  0x08010000-0x08010027  40 bytes\n"
         "protected TLV 2  at 76                          4 bytes, type security counter, value 117901063\n"
         "TLV 3            at 88                         32 bytes, type sha256\n"
         "note: it isn't signed\n"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(inspectBytes(row.bytes, row.name, {}).text("show"), row.text);
    }
}

QByteArray mcuboot(void (*change)(KitMcuboot& image)) {
    KitMcuboot image;
    change(image);
    return kitMake(image);
}

TEST(InspectFirmware, BrokenRulesAreNamed) {
    struct Row {
        const char* as;
        QByteArray bytes;
        const char* faults;
    };
    const Row rows[] = {
        {"hexFile", hexFile(), "?tag"},
        {"hexFile", hexFile().replace("04F2", "04F3"), "?tag badRecord"},
        {"hexFile", "no record", "?tag noContent"},
        {"hexFile", hexFile("04001200090A0B0C"), "?tag overlap"},
        {"sRecordFile", sRecordFile().replace("0102", "0103"), "?tag badRecord"},
        {"elfFile", greedyElf(16), "?tag"},
        {"elfFile", greedyElf(17), "?tag sharedBytes"},
        {"elfFile", elf().first(51), "?tag cutOff"},
        {"elfFile", elf().first(100), "?tag cutOff"},
        {"elfFile", elf().first(130), "?tag cutOff"},
        {"elfFile", elf().replace(0, 4, "FLE\x7f"), "?tag badMagic"},
        {"elfFile", elf().replace(4, 1, "\x02"), "?tag wideElf"},
        {"elfFile", elf().replace(42, 1, "\x38"), "?tag noContent wrongSize"},
        {"elfFile", elf().replace(44, 1, QByteArray(1, '\0')), "?tag noContent"},
        {"elfFile", elf().replace(97, 1, QByteArray(1, '\0')), "?tag overlap"},
        {"moduleFile", "KMDMAGIC", "?tag cutOff"},
        {"moduleFile", "KMDMAGIK1234code", "?tag badMagic"},
        {"moduleFile", "KMDMAGIC\xF0\xFF\xFF\xFF" + QByteArray(17, 'c'), "?tag addressWraps"},
        {"mcubootImage", mcuboot([](KitMcuboot& image) { image.magic = 1; }), "?signature badMagic"},
        {"mcubootImage", mcuboot([](KitMcuboot& image) { image.headerSize = 31; }), "?digest wrongSize"},
        {"mcubootImage", mcuboot([](KitMcuboot& image) { image.protectedSize = 8; }), "?signature wrongSize"},
        {"mcubootImage", mcuboot([](KitMcuboot& image) {
             image.protectedTlvs.clear();
             image.protectedSize = 8;
         }),
         "?digest badTlvBlock"},
        {"mcubootImage", mcuboot([](KitMcuboot& image) { image.plainMagic = 0x6908; }), "?digest badTlvBlock"},
        {"mcubootImage", mcuboot([](KitMcuboot& image) { image.otherDigest = QByteArray(32, 'd'); }),
         "?signature digest"},
        {"mcubootImage", mcuboot([](KitMcuboot& image) { image.flags = 4; }), "?signature"},
        {"mcubootImage", mcuboot([](KitMcuboot& image) { image.signer = KitKind::p256; }), "?signature"},
        {"mcubootImage", mcuboot([](KitMcuboot& image) {
             image.moreTlvs = {{0x21, "old"}};
         }),
         "?signature"},
        {"mcubootImage", kitMake(KitMcuboot()).chopped(1), "?digest cutOff"},
        {"mcubootImage", kitMake(KitMcuboot()).first(60), "?digest cutOff"},
        {"mcubootImage", kitMake(KitMcuboot()).first(31), "?digest cutOff"},
        {"mcubootImage", kitMake(KitMcuboot()) + QByteArray(9, '\xFF'), "?signature"},
        {"wirelessBinary", QByteArray(255, 'w'), "cutOff"},
        {"wirelessBinary", QByteArray(283, 'w'), "?signature noRoomForSize"},
        {"wirelessBinary", QByteArray(284, 'w'), "?signature wrongSize"},
        {"wirelessKeyFile", "modulus = [1,2,3]\n", "?sameKey noModulus"},
        {"wirelessKeyFile", kitWirelessKey("py").replace("r2", "R2"), "?sameKey wrongText"},
        {"wirelessKeyFile", kitWirelessKey("c") + '\n', "?sameKey wrongText"},
        {"personalizationData", "fifteen bytes..", "cutOff"},
        {"personalizationData", QByteArray(40, 'p'), "?tag"},
        {"memoryImage", QByteArray(40, 'm'), "?against"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(inspectBytes(row.bytes, "a", {}, row.as).faults(), row.faults) << row.bytes.left(60).constData();
    }
}

// Another key makes the signature bad; a file that contains no key leaves it unchecked.
TEST(InspectFirmware, SignedByAnotherKey) {
    KitMcuboot image;
    image.signer = KitKind::p256;
    Given given;
    given.bytes = kitMake(image);
    struct Row {
        QByteArray publicKey;
        const char* faults;
    };
    for (const Row& row :
         {Row{kitKeyOf(KitKind::p256).publicPem, ""}, Row{kitMakeKey(KitKind::p256).publicPem, "signature signingKey"},
          Row{kitKeyOf(KitKind::rsa2048).publicPem, "signature signingKey"}, Row{"no key", "?signature"}}) {
        given.publicKey = row.publicKey;
        EXPECT_EQ(inspectGiven(given).faults(), row.faults);
    }
    image.signer = KitKind::rsa2048;
    for (const KitPadding padding : {KitPadding::pss, KitPadding::pssLongSalt, KitPadding::pkcs1}) {
        image.padding = padding;
        given.bytes = kitMake(image);
        given.publicKey = kitKeyOf(KitKind::rsa2048).publicPem;
        EXPECT_EQ(inspectGiven(given).faults(), padding == KitPadding::pss ? "" : "signature");
    }
    // First, the key has another size than the type of the entry means. Then the image has one signature more than the
    // opener tries.
    image = KitMcuboot();
    const QByteArray covered = kitMake(image).first(84);
    image.moreTlvs = {{0x20, kitSignature(KitKind::rsa3072, covered)}};
    given.bytes = kitMake(image);
    given.publicKey = kitKeyOf(KitKind::rsa3072).publicPem;
    EXPECT_EQ(inspectGiven(given).faults(), "signature");
    given.publicKey = kitKeyOf(KitKind::p256).publicPem;
    for (const std::size_t count : {16U, 17U}) {
        image.moreTlvs.assign(count, {0x22, kitSignature(KitKind::p256, covered)});
        given.bytes = kitMake(image);
        EXPECT_EQ(inspectGiven(given).faults(), count == 16 ? "" : "?signature");
    }
    image.moreTlvs.clear();
    given.bytes = kitMake(image);
    given.publicKey = kitKeyOf(KitKind::p256).publicPem;
    EXPECT_EQ(inspectGiven(given).faults(), "signature");
}

// The image doesn't contain the application's bytes after the last whole group. Bytes of an older, longer file may
// follow the application's bytes in the image.
TEST(InspectFirmware, MemoryImageIsComparedToTheLastByte) {
    Given given;
    given.as = "memoryImage";
    given.key = kitKey;
    given.memory = inspect::MemoryUse{0x08000000, 0};
    given.bytes = QByteArray(70, 'm');
    EXPECT_EQ(inspectGiven(given).faults(), "?against");
    for (const qsizetype size : {0, 64, 70, 100}) {
        given.app = QByteArray(size, 'a');
        EXPECT_EQ(inspectGiven(given).faults(), size < 70 ? "against bytesBehindEnd" : "against") << size;
    }
}

}  // namespace
