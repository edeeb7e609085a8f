#pragma once

#include "files/FileData.h"

#include <string>

struct ElfSectionRecord {
    std::uint32_t index = 0;
    std::string name;
    std::uint64_t offset = 0;
    std::uint32_t type = 0;
    std::uint64_t flags = 0;
    std::uint32_t info = 0;
    std::uint32_t link = 0;
    std::uint64_t addressAlign = 0;
    std::uint64_t entrySize = 0;
    std::uint64_t address = 0;
    std::uint64_t size = 0;
    std::uint32_t nameStringOffset = 0;
};

struct ElfSegmentRecord {
    std::uint32_t type = 0;
    std::uint64_t flags = 0;
    std::uint64_t align = 0;
    std::uint64_t virtualAddress = 0;
    std::uint64_t physicalAddress = 0;
    std::uint64_t fileSize = 0;
    std::uint64_t memorySize = 0;
};

struct ElfSymbolRecord {
    std::string name;
    std::uint64_t value = 0;
    std::uint64_t size = 0;
    std::uint8_t bind = 0;
    std::uint8_t type = 0;
    std::uint16_t sectionIndex = 0;
    std::uint8_t other = 0;
};

struct ElfRelocationRecord {
    std::uint64_t offset = 0;
    std::uint32_t symbol = 0;
    std::uint32_t type = 0;
    std::int64_t addend = 0;
};

struct ElfDynamicRecord {
    std::uint64_t tag = 0;
    std::uint64_t value = 0;
    std::string text;
};

struct ElfNoteRecord {
    std::uint32_t type = 0;
    std::string name;
    QByteArray description;  ///< a copy of the note's bytes
    std::uint32_t descriptionSize = 0;
};

/// A 32-bit ELF file: the load image as segments at their physical addresses, and a copy of its tables.
struct FileELF : FileData {
    std::uint8_t elfClass = 0;
    std::uint8_t elfIdentVersion = 0;
    std::uint8_t encoding = 0;
    std::uint32_t version = 0;
    std::uint16_t headerSize = 0;
    std::uint16_t sectionEntrySize = 0;
    std::uint16_t sectionCount = 0;
    std::uint16_t segmentEntrySize = 0;
    std::uint16_t programHeaderCount = 0;
    std::uint8_t osAbi = 0;
    std::uint8_t abiVersion = 0;
    std::uint16_t type = 0;
    std::uint16_t machine = 0;
    std::uint32_t flags = 0;
    std::uint64_t entry = 0;
    std::uint64_t sectionsOffset = 0;
    std::uint64_t segmentsOffset = 0;
    std::uint16_t sectionNameStringIndex = 0;
    std::vector<ElfSectionRecord> sections;
    std::vector<ElfSegmentRecord> programHeaders;
    std::vector<ElfSymbolRecord> symbols;
    std::vector<ElfRelocationRecord> relocations;
    std::vector<ElfDynamicRecord> dynamicEntries;  ///< always empty
    std::vector<ElfNoteRecord> notes;
};
