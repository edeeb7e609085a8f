#include "files/elfReader.h"
#include "files/FileELF.h"
#include "files/openFile.h"
#include "tests/files/ElfBuilder.h"
#include "tests/files/segmentText.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"
#include "tests/support/outsideTool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

constexpr FormatRow formats[] = {{".elf", readElfFile}};

FileELF* read(FileLoadContext& context, const QString& path) {
    context.formats = formats;
    FileData* file = nullptr;
    return openFile(context, path, file) ? static_cast<FileELF*>(file) : nullptr;
}

constexpr std::uint32_t symbolTable = 2;
constexpr std::uint32_t relocations = 4;
constexpr std::uint32_t notes = 7;

/// Two loadable segments 31 bytes apart, and one section of each kind that is read.
ElfBuilder sample(bool bigEndian) {
    ElfBuilder elf;
    elf.bigEndian = bigEndian;
    elf.segments = {{1, 0x08000021, "second"}, {4, 0, "note"}, {1, 0x08000000, "ab"}};
    const QByteArray symbols = QByteArray(16, '\0') + elf.numbers({1, 0x1234, 8}) + '\x12' + '\3' + elf.number(5, 2) +
                               elf.numbers({0x1000, 0x99, 0}) + QByteArray(4, '\0');
    elf.sections = {
        {1, symbolTable, symbols, 2, 16},
        {9, 3, QByteArray("\0main\0cut", 9)},
        {17, relocations, elf.numbers({0x10, 0x0102, 0xFFFFFFFC}), 1, 12},
        {28, notes,
         elf.numbers({4, 3, 9}) + QByteArray("GNU\0abc\0", 8) + elf.numbers({0, 0, 5, 2, 3, 6}) +
             QByteArray("AB\0\0xyz", 7)},
        {34, 3, QByteArray("\0.symtab\0.strtab\0.rela.text\0.note\0.shstrtab\0", 45)},
    };
    return elf;
}

std::string text(std::initializer_list<std::uint64_t> numbers) {
    std::string result;
    for (const std::uint64_t number : numbers) {
        result += ' ' + std::to_string(number);
    }
    return result;
}

/// All members as one text, except `sectionsOffset` and the raw offsets of the sections.
std::string textOf(const FileELF& f) {
    std::string result = segmentText(f) + '\n';
    result += text({f.fileType, f.elfClass, f.elfIdentVersion, f.encoding, f.version, f.headerSize, f.sectionEntrySize,
                    f.sectionCount, f.segmentEntrySize, f.programHeaderCount, f.osAbi, f.abiVersion, f.type, f.machine,
                    f.flags, f.entry, f.segmentsOffset, f.sectionNameStringIndex});
    for (const ElfSectionRecord& s : f.sections) {
        result += "\nsection " + s.name;
        result += text({s.index, s.type, s.flags, s.info, s.link, s.addressAlign, s.entrySize, s.address, s.size});
    }
    for (const ElfSegmentRecord& s : f.programHeaders) {
        result += "\nsegment";
        result += text({s.type, s.flags, s.align, s.virtualAddress, s.physicalAddress, s.fileSize, s.memorySize});
    }
    for (const ElfSymbolRecord& s : f.symbols) {
        result += "\nsymbol " + s.name + text({s.value, s.size, s.bind, s.type, s.sectionIndex, s.other});
    }
    for (const ElfRelocationRecord& r : f.relocations) {
        result += "\nrelocation" + text({r.offset, r.symbol, r.type}) + ' ' + std::to_string(r.addend);
    }
    for (const ElfNoteRecord& n : f.notes) {
        result += "\nnote " + n.name + text({n.type, n.descriptionSize}) + ' ' + n.description.toStdString();
    }
    return result;
}

// textOf() of the sample, without the segments. The third note has no padding after it.
constexpr char sampleText[] = R"(
 4 1 1 %1 1 52 40 6 32 3 3 4 2 40 83886592 134217985 52 5
section  0 0 0 0 0 0 0 0 0
section .symtab 1 2 2 7 2 4 16 805306368 48
section .strtab 2 3 2 7 0 4 0 805306368 9
section .rela.text 3 4 2 7 1 4 12 805306368 12
section .note 4 7 2 7 0 4 0 805306368 51
section .shstrtab 5 3 2 7 0 4 0 805306368 45
segment 1 5 4 536870912 134217761 6 22
segment 4 5 4 536870912 0 4 20
segment 1 5 4 536870912 134217728 2 18
symbol  0 0 0 0 0 0
symbol main 4660 8 1 2 5 3
symbol  153 0 0 0 0 0
relocation 16 1 2 -4
note GNU 9 3 abc
note  5 0 
note AB 6 3 xyz)";

TEST(ElfReader, CopiesTheLoadImageAndTheTables) {
    const TempFolder folder;
    for (const bool bigEndian : {false, true}) {
        FileLoadContext context;
        const QByteArray bytes = sample(bigEndian).build();
        const FileELF* const file = read(context, folder.write("a.elf", bytes));
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(textOf(*file), "8000000:6162" + std::string(62, 'f') + "7365636f6e64" +
                                     QString::fromLatin1(sampleText).arg(bigEndian ? 2 : 1).toStdString());
        EXPECT_EQ(file->sectionsOffset, static_cast<std::uint64_t>(bytes.size()) - 6U * 40);
        // The reader reads the table's offset as little-endian in every file, so it finds no table in a big-endian one.
        EXPECT_EQ(file->sections[3].offset, bigEndian ? 0U : 52U + 3 * 32 + 12 + 48 + 9);
    }
}

TEST(ElfReader, WarnsOfOverlap) {
    ElfBuilder elf;
    elf.segments = {{1, 0x102, "yy"}, {1, 0x100, "xxx"}, {1, 0x200, ""}};
    const TempFolder folder;
    const MessageCapture capture;
    FileLoadContext context;
    const FileELF* const file = read(context, folder.write("a.elf", elf.build()));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(segmentText(*file), "100:78787979 200:");
    EXPECT_THAT(capture.texts(), ElementsAre("Warning: File corrupted. Two or more segments define the same memory "
                                             "zone or wrong order of segments"));
}

TEST(ElfReader, RefusesFalseClaims) {
    struct Row {
        const char* name;
        int offset;  ///< offset in the file of the bytes that become `value`
        int width;
        std::uint32_t value;
    };
    constexpr int programHeader = 52;
    const QByteArray good = sample(false).build();
    const int sections = static_cast<int>(good.size()) - 6 * 40;
    const Row rows[] = {
        {"magic", 0, 1, 0x7E},
        {"class", 4, 1, 3},
        {"encoding", 5, 1, 3},
        {"program headers outside", 28, 4, 0xFFFFFFF0},
        {"sections outside", 32, 4, 0x7FFFFFFF},
        {"header size", 40, 2, 64},
        {"program header size", 42, 2, 31},
        {"too many program headers", 44, 2, 0xFFFE},
        {"program headers counted elsewhere", 44, 2, 0xFFFF},
        {"section header size", 46, 2, 41},
        {"too many sections", 48, 2, 0xFEFF},
        {"segment starts outside", programHeader + 4, 4, 0xFFFFFFFF},
        {"segment ends outside", programHeader + 16, 4, 0x7FFFFFFF},
        {"segment's end wraps", programHeader + 16, 4, 0xFFFFFFFF},
        {"symbols outside", sections + 40 + 16, 4, 0xFFFFFF00},
        {"strings too long", sections + 80 + 20, 4, 0x10000000},
        {"notes outside", sections + 160 + 16, 4, 0x10000000},
    };
    const TempFolder folder;
    const QString path = folder.path("a.elf");
    const std::string invalid = "Error: " + path.toStdString() + " is an invalid ELF file";
    const auto messagesOf = [&](const QByteArray& bytes) {
        folder.write("a.elf", bytes);
        const MessageCapture capture;
        FileLoadContext context;
        EXPECT_EQ(read(context, path), nullptr);
        return capture.texts();
    };
    for (const Row& row : rows) {
        QByteArray bytes = good;
        bytes.replace(row.offset, row.width, ElfBuilder().number(row.value, row.width));
        EXPECT_THAT(messagesOf(bytes), ElementsAre(invalid)) << row.name;
    }
    for (qsizetype size = 1; size < good.size(); ++size) {
        ASSERT_THAT(messagesOf(good.first(size)), ElementsAre(invalid)) << size;
    }
    ElfBuilder object = sample(true);
    object.segments = {};
    EXPECT_THAT(messagesOf(object.build()), ElementsAre(invalid));
    EXPECT_THAT(messagesOf(QByteArray("\x7F"
                                      "ELF\2\1\1",
                                      7) +
                           QByteArray(57, '\0')),
                ElementsAre("Error: 64-bit ELF files are not supported"));
}

// Some compilers write tables in their own form. The load image doesn't depend on these tables.
TEST(ElfReader, SkipsTablesOfAnotherForm) {
    const QByteArray good = sample(false).build();
    const qsizetype sections = good.size() - 6 * 40;
    const struct {
        qsizetype entrySize;  ///< its offset in the section header
        std::size_t symbols;
        std::size_t relocations;
        const char* message;
    } rows[] = {{sections + 40 + 36, 0, 1, "The ELF section .symtab has entries of 15 bytes, it is ignored"},
                {sections + 120 + 36, 3, 0, "The ELF section .rela.text has entries of 15 bytes, it is ignored"}};
    const TempFolder folder;
    for (const auto& row : rows) {
        QByteArray bytes = good;
        bytes[row.entrySize] = 15;
        const MessageCapture capture;
        FileLoadContext context;
        const FileELF* const file = read(context, folder.write("a.elf", bytes));
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(file->symbols.size(), row.symbols);
        EXPECT_EQ(file->relocations.size(), row.relocations);
        EXPECT_EQ(file->segmentCount, 1U);
        EXPECT_EQ(capture.messages(), (std::vector<std::pair<int, std::string>>{{7, row.message}}));
    }
}

// Ten thousand sections or segments each claim the whole file.
TEST(ElfReader, RejectsTablesThatMultiplyTheFile) {
    ElfBuilder elf = sample(false);
    const TempFolder folder;
    for (const std::uint32_t type : {symbolTable, relocations, notes, 0U}) {
        QByteArray bytes = elf.build();
        const auto table = static_cast<std::uint32_t>(bytes.size());
        for (int i = 0; i < 10000; ++i) {
            bytes += type == 0 ? elf.numbers({1, 0, 0, static_cast<std::uint32_t>(i) << 19, 300000, 0, 0, 0})
                               : elf.numbers({0, type, 0, 0, 16, 300000, 2, 0, 0, type == symbolTable ? 16U : 12U});
        }
        bytes.replace(type == 0 ? 28 : 32, 4, elf.number(table, 4));
        bytes.replace(type == 0 ? 44 : 48, 2, elf.number(10000, 2));
        const MessageCapture capture;
        FileLoadContext context;
        EXPECT_EQ(read(context, folder.write("a.elf", bytes)), nullptr);
        EXPECT_EQ(capture.texts().size(), 1U);
    }
}

// With any byte changed to one of a few values, the file is read or rejected with one message.
TEST(ElfReader, SurvivesDamage) {
    const TempFolder folder;
    QByteArray bytes = sample(true).build();
    for (char& byte : bytes) {
        const char good = byte;
        for (const char value : {'\0', '\1', '\x7F', '\xFF'}) {
            byte = value;
            const MessageCapture capture;
            FileLoadContext context;
            const bool done = read(context, folder.write("a.elf", bytes)) != nullptr;
            ASSERT_EQ(capture.texts(5).size(), done ? 0U : 1U);
        }
        byte = good;
    }
}

// Compares the load image of a linked file with the output of objcopy.
TEST(ElfReader, AgreesWithObjcopy) {
    const TempFolder folder;
    const QString path = QStringLiteral(QVORA_EXAMPLES "/firmware/blink.elf");
    outsideTool("objcopy -I elf32-little -O binary " + path.toUtf8() + ' ' + folder.path("out.bin").toUtf8());
    FileLoadContext context;
    const FileELF* const file = read(context, path);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(segmentText(*file), "4000000:" + folder.read("out.bin").toHex().toStdString());
    EXPECT_TRUE(std::any_of(file->symbols.begin(), file->symbols.end(),
                            [](const ElfSymbolRecord& symbol) { return symbol.name == "main"; }));
}

}  // namespace
