#include "inspect/ElfSymbols.h"

#include "inspect/ElfNumbers.h"

#include <algorithm>

namespace inspect {

namespace {

constexpr qint64 sectionSize = 40;
constexpr qint64 symbolSize = 16;
constexpr std::uint32_t symbolTable = 2;
constexpr std::uint32_t inMemory = 2;
constexpr std::uint32_t armMachine = 40;
constexpr qsizetype longestName = 128;

struct Section {
    std::uint32_t name;
    std::uint32_t type;
    std::uint32_t flags;
    std::uint32_t address;
    qint64 offset;
    qint64 size;
    std::uint32_t link;
};

std::vector<Section> readSections(QByteArrayView file, const ElfNumbers& numbers) {
    std::vector<Section> sections;
    const qint64 table = numbers.word(32);
    const qint64 present = std::max<qint64>(file.size() - table, 0) / sectionSize;
    const qint64 count = numbers.half(46) == sectionSize ? std::min<qint64>(numbers.half(48), present) : 0;
    for (qint64 i = 0; i < count; ++i) {
        const qint64 at = table + i * sectionSize;
        sections.push_back({numbers.word(at), numbers.word(at + 4), numbers.word(at + 8), numbers.word(at + 12),
                            numbers.word(at + 16), numbers.word(at + 20), numbers.word(at + 24)});
    }
    return sections;
}

/// A name of a table of strings; cut at the end of the table or the longest name.
QByteArrayView nameIn(QByteArrayView file, const std::vector<Section>& sections, std::uint32_t table,
                      std::uint32_t at) {
    if (table >= sections.size()) {
        return {};
    }
    const qint64 end = std::min<qint64>(sections[table].offset + sections[table].size, file.size());
    const qint64 start = sections[table].offset + at;
    if (start >= end) {
        return {};
    }
    const QByteArrayView rest = file.sliced(start, std::min<qint64>(end - start, longestName));
    const qsizetype zero = rest.indexOf('\0');
    return zero < 0 ? rest : rest.first(zero);
}

}  // namespace

ElfSymbols::ElfSymbols(QByteArrayView file, const Description& description) {
    const ElfNumbers numbers(file);
    const std::vector<Section> sections = readSections(file, numbers);
    const std::uint32_t ignoredBits = numbers.half(18) == armMachine ? 1 : 0;  // marks code of 16-bit instructions
    qint64 left = file.size() / symbolSize;  // several tables may claim the same bytes
    for (const Section& section : sections) {
        if ((section.flags & inMemory) != 0 && section.size > 0) {
            sections_.push_back({section.address, static_cast<std::uint32_t>(section.size),
                                 nameIn(file, sections, numbers.half(50), section.name)});
        }
        const qint64 present = std::clamp<qint64>(file.size() - section.offset, 0, section.size) / symbolSize;
        for (qint64 i = 0; section.type == symbolTable && i < present && left > 0; ++i, --left) {
            const qint64 at = section.offset + i * symbolSize;
            const std::uint32_t kind = numbers.byteAt(at + 12) & 0xF;
            if ((kind == 1 || kind == 2) && numbers.half(at + 14) != 0) {  // an object or a function of this file
                symbols_.push_back({numbers.word(at + 4) & ~ignoredBits, numbers.word(at + 8),
                                    nameIn(file, sections, section.link, numbers.word(at))});
            }
        }
    }
    const auto isLower = [](const Named& a, const Named& b) { return a.address < b.address; };
    std::stable_sort(symbols_.begin(), symbols_.end(), isLower);
    std::stable_sort(sections_.begin(), sections_.end(), isLower);
    for (const Part& part : description.parts) {
        if (!part.fields.empty()) {
            segments_.push_back({part.address, part.memorySize, part.fields.front().number});
        }
    }
    std::stable_sort(segments_.begin(), segments_.end(),
                     [](const Segment& a, const Segment& b) { return a.address < b.address; });
}

const ElfSymbols::Named* ElfSymbols::findIn(const std::vector<Named>& names, std::uint32_t address) {
    const auto next = std::upper_bound(names.begin(), names.end(), address,
                                       [](std::uint32_t at, const Named& named) { return at < named.address; });
    if (next == names.begin()) {
        return nullptr;
    }
    const Named& found = *(next - 1);
    return address - found.address < std::max<std::uint32_t>(found.size, 1) ? &found : nullptr;
}

QByteArray ElfSymbols::nameOf(std::uint64_t address) const {
    const auto next = std::upper_bound(segments_.begin(), segments_.end(), address,
                                       [](std::uint64_t at, const Segment& segment) { return at < segment.address; });
    if (next == segments_.begin() || address - (next - 1)->address >= (next - 1)->size) {
        return {};
    }
    const Segment& segment = *(next - 1);
    const auto place = static_cast<std::uint32_t>(segment.virtualAddress + (address - segment.address));
    const Named* const symbol = findIn(symbols_, place);
    const Named* const section = findIn(sections_, place);
    const Named* const nearest = symbol != nullptr ? symbol : section;
    if (nearest == nullptr) {
        return {};
    }
    const std::uint32_t offset = place - nearest->address;
    const QByteArray name =
        nearest->name.toByteArray() + (offset == 0 ? QByteArray() : "+0x" + QByteArray::number(offset, 16));
    return symbol != nullptr && section != nullptr ? name + " in " + section->name.toByteArray() : name;
}

}  // namespace inspect
