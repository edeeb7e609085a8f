#include "files/elfReader.h"

#include "display/Display.h"
#include "files/ByteReader.h"
#include "files/FileELF.h"
#include "files/readExactly.h"
#include "files/segments.h"

#include <QtEndian>

#include <gelf.h>

#include <limits>

// libelf decodes the tables in either byte order. The tables aren't trusted: every offset and size is checked against
// the file's length. Copied bytes are charged to an allowance, because a small file can refer to its own bytes many
// times. Program headers aren't charged, because each of them has its own bytes in the file. libelf reads only the
// requested pieces; the file is never mapped or loaded as a whole.

namespace {

constexpr qint64 headerSize = 52;

// The allowance for the tables, names and segments that are copied, as a multiple of the file's length.
constexpr qint64 allowanceFactor = 16;

enum class ElfStatus { good, invalid, wide, noMemory };

struct ElfCloser {
    void operator()(Elf* elf) const { elf_end(elf); }
};

struct ElfSource {
    QFile& device;
    std::unique_ptr<Elf, ElfCloser> elf;
    qint64 length = 0;
    qint64 allowance = 0;

    /// Charges `count` pieces of `size` bytes to the allowance. False if the allowance is too small for them.
    [[nodiscard]] bool charge(std::uint64_t count, std::uint64_t size) {
        if (size != 0 && count > static_cast<std::uint64_t>(allowance) / size) {
            return false;
        }
        allowance -= static_cast<qint64>(count * size);
        return true;
    }
    [[nodiscard]] bool holds(std::uint64_t offset, std::uint64_t size) const {
        const auto end = static_cast<std::uint64_t>(length);
        return offset <= end && size <= end - offset;
    }
};

// Decodes the file bytes of a section or table as entries of `type`. Returns null if the file doesn't contain the
// bytes, the allowance is too small or libelf fails.
Elf_Data* decodedData(ElfSource& source, std::uint64_t offset, std::uint64_t size, Elf_Type type) {
    if (!source.holds(offset, size) || !source.charge(1, size)) {
        return nullptr;
    }
    return elf_getdata_rawchunk(source.elf.get(), static_cast<std::int64_t>(offset), size, type);
}

/// The content of a string section.
struct StringTable {
    QByteArrayView bytes;

    /// Stores the text at `offset`, up to its NUL or the table's end. An offset past the table gives an empty text.
    /// False if the allowance is used up.
    [[nodiscard]] bool text(ElfSource& source, std::uint64_t offset, std::string& result) const {
        if (offset >= static_cast<std::uint64_t>(bytes.size())) {
            result.clear();
            return true;
        }
        const QByteArrayView rest = bytes.sliced(static_cast<qsizetype>(offset));
        const qsizetype end = rest.indexOf('\0');
        const auto size = static_cast<std::size_t>(end < 0 ? rest.size() : end);
        if (!source.charge(1, size)) {
            return false;
        }
        result.assign(rest.data(), size);
        return true;
    }
};

// A section that doesn't exist or has no file bytes is an empty table.
bool readStringTable(ElfSource& source, std::size_t index, StringTable& table) {
    GElf_Shdr header{};
    Elf_Scn* const section = elf_getscn(source.elf.get(), index);
    if (section == nullptr || gelf_getshdr(section, &header) == nullptr || header.sh_type == SHT_NOBITS ||
        header.sh_size == 0) {
        table = {};
        return true;
    }
    const Elf_Data* const data = decodedData(source, header.sh_offset, header.sh_size, ELF_T_BYTE);
    if (data == nullptr) {
        return false;
    }
    table.bytes = QByteArrayView(static_cast<const char*>(data->d_buf), static_cast<qsizetype>(data->d_size));
    return true;
}

/// The section table that the file's header refers to. The section offsets in the record are always read as
/// little-endian, even in a big-endian file.
struct RawSectionTable {
    QFile& device;
    qint64 offset = 0;
    qint64 stride = 0;
    std::uint16_t count = 0;

    explicit RawSectionTable(QFile& file) : device(file) {
        const QByteArray header = device.seek(0) ? device.read(headerSize) : QByteArray();
        ByteReader fields(header);
        fields.seek(32);
        offset = fields.u32();
        fields.seek(46);
        stride = fields.u16();
        count = fields.u16();
    }

    /// The offset of a section; 0 if its entry isn't in the table or the file.
    [[nodiscard]] std::uint32_t sectionOffset(std::uint16_t index) const {
        constexpr qint64 entrySize = 40;
        if (index >= count || !device.seek(offset + index * stride)) {
            return 0;
        }
        const QByteArray entry = device.read(entrySize);
        ByteReader fields(entry);
        fields.seek(16);
        return fields.u32();
    }
};

bool readHeader(ElfSource& source, FileELF& file) {
    GElf_Ehdr header{};
    std::size_t sections = 0;
    std::size_t segments = 0;
    std::size_t names = 0;
    if (gelf_getehdr(source.elf.get(), &header) == nullptr || elf_getshdrnum(source.elf.get(), &sections) != 0 ||
        elf_getphdrnum(source.elf.get(), &segments) != 0) {
        return false;
    }
    // In a file without sections, the header's index of the name section is ignored.
    if (sections != 0 && elf_getshdrstrndx(source.elf.get(), &names) != 0) {
        return false;
    }
    constexpr std::size_t maxEntries = std::numeric_limits<std::uint16_t>::max();
    const bool sectionsFit = sections == 0 || (header.e_shentsize == sizeof(Elf32_Shdr) && sections <= maxEntries &&
                                               source.holds(header.e_shoff, sections * sizeof(Elf32_Shdr)));
    const bool segmentsFit = segments == 0 || (header.e_phentsize == sizeof(Elf32_Phdr) && segments <= maxEntries &&
                                               source.holds(header.e_phoff, segments * sizeof(Elf32_Phdr)));
    // If the section table doesn't fit into the file, libelf finds no sections. The header's own number shows the
    // fault.
    const bool counted = header.e_shnum == 0 || header.e_shnum == sections;
    if (header.e_ehsize != headerSize || !sectionsFit || !segmentsFit || !counted) {
        return false;
    }
    file.elfClass = header.e_ident[EI_CLASS];
    file.elfIdentVersion = header.e_ident[EI_VERSION];
    file.encoding = header.e_ident[EI_DATA];
    file.version = header.e_version;
    file.headerSize = header.e_ehsize;
    file.sectionEntrySize = header.e_shentsize;
    file.sectionCount = static_cast<std::uint16_t>(sections);
    file.segmentEntrySize = header.e_phentsize;
    file.programHeaderCount = static_cast<std::uint16_t>(segments);
    file.osAbi = header.e_ident[EI_OSABI];
    file.abiVersion = header.e_ident[EI_ABIVERSION];
    file.type = header.e_type;
    file.machine = header.e_machine;
    file.flags = header.e_flags;
    file.entry = header.e_entry;
    file.sectionsOffset = header.e_shoff;
    file.segmentsOffset = header.e_phoff;
    file.sectionNameStringIndex = header.e_shstrndx;
    return true;
}

bool readSections(ElfSource& source, FileELF& file) {
    StringTable names;
    if (!readStringTable(source, file.sectionNameStringIndex, names)) {
        return false;
    }
    const RawSectionTable table(source.device);
    for (std::uint16_t i = 0; i < file.sectionCount; ++i) {
        GElf_Shdr header{};
        Elf_Scn* const section = elf_getscn(source.elf.get(), i);
        if (section == nullptr || gelf_getshdr(section, &header) == nullptr) {
            return false;
        }
        const bool hasBytes = header.sh_type != SHT_NOBITS && header.sh_type != SHT_NULL;
        if (hasBytes && !source.holds(header.sh_offset, header.sh_size)) {
            return false;
        }
        ElfSectionRecord record;
        if (!source.charge(1, sizeof record) || !names.text(source, header.sh_name, record.name)) {
            return false;
        }
        record.index = i;
        record.offset = table.sectionOffset(i);
        record.type = header.sh_type;
        record.flags = header.sh_flags;
        record.info = header.sh_info;
        record.link = header.sh_link;
        record.addressAlign = header.sh_addralign;
        record.entrySize = header.sh_entsize;
        record.address = header.sh_addr;
        record.size = header.sh_size;
        record.nameStringOffset = header.sh_name;
        file.sections.push_back(std::move(record));
    }
    return true;
}

ElfStatus addLoadSegment(ElfSource& source, const GElf_Phdr& header, FileELF& file) {
    FileSegment segment;
    segment.address = static_cast<std::uint32_t>(header.p_paddr);
    segment.size = static_cast<std::uint32_t>(header.p_filesz);
    if (segment.size != 0) {
        if (!source.holds(header.p_offset, header.p_filesz) || !source.charge(1, header.p_filesz) ||
            !source.device.seek(static_cast<qint64>(header.p_offset))) {
            return ElfStatus::invalid;
        }
        const ReadStatus status = readExactly(source.device, segment.size, segment.data);
        if (status != ReadStatus::done) {
            return status == ReadStatus::noMemory ? ElfStatus::noMemory : ElfStatus::invalid;
        }
    }
    file.segments.push_back(std::move(segment));
    ++file.segmentCount;
    return ElfStatus::good;
}

ElfStatus readSegments(ElfSource& source, FileELF& file) {
    for (int i = 0; i < file.programHeaderCount; ++i) {
        GElf_Phdr header{};
        if (gelf_getphdr(source.elf.get(), i, &header) == nullptr) {
            return ElfStatus::invalid;
        }
        ElfSegmentRecord record;
        record.type = header.p_type;
        record.flags = header.p_flags;
        record.align = header.p_align;
        record.virtualAddress = header.p_vaddr;
        record.physicalAddress = header.p_paddr;
        record.fileSize = header.p_filesz;
        record.memorySize = header.p_memsz;
        file.programHeaders.push_back(record);
        if (header.p_type == PT_LOAD) {
            const ElfStatus status = addLoadSegment(source, header, file);
            if (status != ElfStatus::good) {
                return status;
            }
        }
    }
    return ElfStatus::good;
}

// Decodes the entries of a section. For a section without entries, or with entries of an unexpected size, the result is
// true and `data` is null. Such a section isn't an error, because the load image doesn't depend on its entries.
bool entriesOf(ElfSource& source, const ElfSectionRecord& section, Elf_Type type, std::size_t entrySize,
               std::size_t recordSize, Elf_Data*& data, int& count) {
    data = nullptr;
    count = 0;
    const std::uint64_t entries = section.entrySize == 0 ? 0 : section.size / entrySize;
    if (entries == 0) {
        return true;
    }
    if (section.entrySize != entrySize) {
        displayMessage(MessageKind::verbose2, "The ELF section %s has entries of %llu bytes, it is ignored",
                       section.name.c_str(), static_cast<unsigned long long>(section.entrySize));
        return true;
    }
    GElf_Shdr header{};
    if (entries > std::numeric_limits<int>::max() || !source.charge(entries, recordSize) ||
        gelf_getshdr(elf_getscn(source.elf.get(), section.index), &header) == nullptr) {
        return false;
    }
    data = decodedData(source, header.sh_offset, entries * entrySize, type);
    count = static_cast<int>(entries);
    return data != nullptr;
}

bool readSymbols(ElfSource& source, const ElfSectionRecord& section, FileELF& file) {
    Elf_Data* data = nullptr;
    int count = 0;
    StringTable names;
    if (!entriesOf(source, section, ELF_T_SYM, sizeof(Elf32_Sym), sizeof(ElfSymbolRecord), data, count) ||
        !readStringTable(source, section.link, names)) {
        return false;
    }
    for (int i = 0; i < count; ++i) {
        GElf_Sym symbol{};
        ElfSymbolRecord record;
        if (gelf_getsym(data, i, &symbol) == nullptr || !names.text(source, symbol.st_name, record.name)) {
            return false;
        }
        record.value = symbol.st_value;
        record.size = symbol.st_size;
        record.bind = static_cast<std::uint8_t>(symbol.st_info >> 4);
        record.type = symbol.st_info & 0xF;
        record.sectionIndex = symbol.st_shndx;
        record.other = symbol.st_other;
        file.symbols.push_back(std::move(record));
    }
    return true;
}

bool readRelocations(ElfSource& source, const ElfSectionRecord& section, FileELF& file) {
    Elf_Data* data = nullptr;
    int count = 0;
    if (!entriesOf(source, section, ELF_T_RELA, sizeof(Elf32_Rela), sizeof(ElfRelocationRecord), data, count)) {
        return false;
    }
    for (int i = 0; i < count; ++i) {
        GElf_Rela relocation{};
        if (gelf_getrela(data, i, &relocation) == nullptr) {
            return false;
        }
        file.relocations.push_back({relocation.r_offset, static_cast<std::uint32_t>(GELF_R_SYM(relocation.r_info)),
                                    static_cast<std::uint32_t>(GELF_R_TYPE(relocation.r_info)), relocation.r_addend});
    }
    return true;
}

// A note that extends past its section ends the loop without an error, because compilers also give the note type to
// sections that contain no notes. libelf's own loop isn't used, because it expects padding after the last note.
bool readNotes(ElfSource& source, const ElfSectionRecord& section, FileELF& file) {
    constexpr std::uint64_t headSize = 12;
    GElf_Shdr header{};
    if (gelf_getshdr(elf_getscn(source.elf.get(), section.index), &header) == nullptr) {
        return false;
    }
    if (header.sh_size == 0) {
        return true;
    }
    const Elf_Data* const data = decodedData(source, header.sh_offset, header.sh_size, ELF_T_BYTE);
    if (data == nullptr) {
        return false;
    }
    const auto* const bytes = static_cast<const char*>(data->d_buf);
    const auto number = [&](std::uint64_t at) {
        return file.encoding == ELFDATA2MSB ? qFromBigEndian<std::uint32_t>(bytes + at)
                                            : qFromLittleEndian<std::uint32_t>(bytes + at);
    };
    const auto padded = [](std::uint64_t size) { return (size + 3) & ~std::uint64_t{3}; };
    std::uint64_t at = 0;
    while (at <= data->d_size && data->d_size - at >= headSize) {
        const std::uint32_t nameSize = number(at);
        const std::uint32_t descriptionSize = number(at + 4);
        const std::uint64_t descriptionAt = at + headSize + padded(nameSize);
        const std::uint64_t end = descriptionSize == 0 ? at + headSize + nameSize : descriptionAt + descriptionSize;
        if (end > data->d_size) {
            break;
        }
        if (!source.charge(1, sizeof(ElfNoteRecord) + nameSize + descriptionSize)) {
            return false;
        }
        ElfNoteRecord record;
        record.type = number(at + 8);
        record.name.assign(bytes + at + headSize, qstrnlen(bytes + at + headSize, nameSize));
        record.descriptionSize = descriptionSize;
        if (descriptionSize != 0) {
            record.description = QByteArray(bytes + descriptionAt, descriptionSize);
        }
        file.notes.push_back(std::move(record));
        at = descriptionAt + padded(descriptionSize);
    }
    return true;
}

bool readTables(ElfSource& source, FileELF& file) {
    struct Table {
        std::uint32_t type;
        bool (*read)(ElfSource& source, const ElfSectionRecord& section, FileELF& file);
    };
    constexpr Table tables[] = {{SHT_SYMTAB, readSymbols}, {SHT_RELA, readRelocations}, {SHT_NOTE, readNotes}};
    for (const Table& table : tables) {
        for (const ElfSectionRecord& section : file.sections) {
            if (section.type == table.type && !table.read(source, section, file)) {
                return false;
            }
        }
    }
    return true;
}

ElfStatus readElf(QFile& device, FileELF& file) {
    ElfSource source{device, nullptr, device.size(), allowanceFactor * device.size()};
    if (elf_version(EV_CURRENT) == EV_NONE) {
        return ElfStatus::invalid;
    }
    source.elf.reset(elf_begin(device.handle(), ELF_C_READ, nullptr));
    if (source.elf == nullptr || elf_kind(source.elf.get()) != ELF_K_ELF) {
        return ElfStatus::invalid;
    }
    if (gelf_getclass(source.elf.get()) == ELFCLASS64) {
        return ElfStatus::wide;
    }
    if (!readHeader(source, file) || !readSections(source, file)) {
        return ElfStatus::invalid;
    }
    const ElfStatus status = readSegments(source, file);
    if (status != ElfStatus::good) {
        return status;
    }
    return readTables(source, file) && file.segmentCount != 0 ? ElfStatus::good : ElfStatus::invalid;
}

}  // namespace

bool readElfFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record) {
    auto file = std::make_shared<FileELF>();
    file->fileType = fileTypeElf;
    switch (readElf(device, *file)) {
        case ElfStatus::good:
            break;
        case ElfStatus::invalid:
            return reportError("%s is an invalid ELF file", qUtf8Printable(device.fileName()));
        case ElfStatus::wide:
            return reportError("64-bit ELF files are not supported");
        case ElfStatus::noMemory:
            return reportError("Unable to allocate memory");
    }
    sortSegments(*file);
    if (compactSegments(context, *file)) {
        displayMessage(MessageKind::warning,
                       "File corrupted. Two or more segments define the same memory zone or wrong order of segments");
    }
    record = std::move(file);
    return true;
}
