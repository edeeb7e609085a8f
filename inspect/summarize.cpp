#include "inspect/summarize.h"

#include "inspect/ElfSymbols.h"
#include "inspect/formats.h"

#include <algorithm>
#include <optional>

namespace inspect {

namespace {

/// The lowest address of the memory contents; 0 if none has an address.
std::uint64_t lowestAddress(const Contents& contents) {
    std::optional<std::uint64_t> lowest;
    for (const Content& content : contents.list) {
        if (isCode(content) && content.hasAddress) {
            lowest = std::min(lowest.value_or(content.address), content.address);
        }
    }
    return lowest.value_or(0);
}

std::vector<PlacedBytes> memoryOf(const Contents& own, const Contents& other) {
    const std::uint64_t start = lowestAddress(other);
    std::vector<PlacedBytes> memory;
    for (const Content& content : own.list) {
        if (isCode(content) && !content.bytes.isEmpty()) {
            memory.push_back({content.hasAddress ? content.address : start, content.bytes});
        }
    }
    std::stable_sort(memory.begin(), memory.end(),
                     [](const PlacedBytes& x, const PlacedBytes& y) { return x.address < y.address; });
    return memory;
}

/// The first bytes of a range in `memory`, at most `limit`; fewer if a piece ends before.
QByteArray bytesAt(const std::vector<PlacedBytes>& memory, const ByteDifference& range, qsizetype limit) {
    const auto next =
        std::upper_bound(memory.begin(), memory.end(), range.from,
                         [](std::uint64_t from, const PlacedBytes& piece) { return from < piece.address; });
    if (limit == 0 || next == memory.begin()) {
        return {};
    }
    const PlacedBytes& piece = *(next - 1);
    const std::uint64_t offset = range.from - piece.address;
    const auto end = static_cast<std::uint64_t>(piece.bytes.size());
    const std::uint64_t size = std::min(range.to - range.from + 1, static_cast<std::uint64_t>(limit));
    if (offset >= end) {
        return {};
    }
    return piece.bytes.sliced(static_cast<qsizetype>(offset), static_cast<qsizetype>(std::min(size, end - offset)))
        .toByteArray();
}

std::optional<ElfSymbols> symbolsOf(const ComparedFile& file) {
    return file.description.format->describe == describeElfFile
               ? std::optional<ElfSymbols>(std::in_place, file.bytes, file.description)
               : std::nullopt;
}

const Field* versionOf(const Description& description) {
    const auto found = std::find_if(description.fields.begin(), description.fields.end(), [](const Field& field) {
        return qstrcmp(field.name, "imageVersion") == 0 || qstrcmp(field.name, "version") == 0;
    });
    return found == description.fields.end() ? nullptr : &*found;
}

const Content* optionBytesOf(const Contents& contents) {
    const auto found = std::find_if(contents.list.begin(), contents.list.end(),
                                    [](const Content& content) { return content.kind == ContentKind::optionBytes; });
    return found == contents.list.end() ? nullptr : &*found;
}

/// The fields that differ; none if they don't explain the whole difference.
std::vector<FieldDifference> fieldDifferences(const OptionWord& a, const OptionWord& b, const devices::Device* device) {
    std::vector<FieldDifference> differences;
    std::uint32_t explained = 0;
    for (std::size_t i = 0; i < a.fields.size(); ++i) {
        if (a.fields[i].value != b.fields[i].value) {
            differences.push_back({a.fields[i], b.fields[i]});
            explained |= device->registers.at(a.number - 1).fields.at(static_cast<qsizetype>(i)).mask();
        }
    }
    return ((a.value ^ b.value) & ~explained) == 0 ? differences : std::vector<FieldDifference>();
}

void compareOptionWords(const ComparedFile& a, const ComparedFile& b, const RegisterNames& registers,
                        Summary& summary) {
    const Content* const optionsA = optionBytesOf(a.contents);
    const Content* const optionsB = optionBytesOf(b.contents);
    if (optionsA == nullptr || optionsB == nullptr) {
        return;
    }
    constexpr qsizetype wordSize = 4;
    const devices::Device* const device = registers.deviceFor(optionsA->bytes.size() / wordSize);
    const std::vector<OptionWord> wordsA = readOptionWords(optionsA->bytes, device);
    const std::vector<OptionWord> wordsB = readOptionWords(optionsB->bytes, device);
    for (std::size_t i = 0; i < std::min(wordsA.size(), wordsB.size()); ++i) {
        const OptionWord& x = wordsA[i];
        const OptionWord& y = wordsB[i];
        if (x.value != y.value) {
            summary.words.push_back({x.number, x.value, y.value, x.name, fieldDifferences(x, y, device)});
        }
    }
}

}  // namespace

Summary summarize(const ComparedFile& a, const ComparedFile& b, qsizetype shownBytes, const RegisterNames& registers) {
    Summary summary;
    const std::vector<PlacedBytes> memoryA = memoryOf(a.contents, b.contents);
    const std::vector<PlacedBytes> memoryB = memoryOf(b.contents, a.contents);
    const bool isOpenA = isOpen(a.description);
    const bool isOpenB = isOpen(b.description);
    const bool areSameBytes = a.bytes == b.bytes && a.second == b.second;
    if ((isOpenA && memoryA.empty()) || (isOpenB && memoryB.empty()) || (!isOpenA && !isOpenB && areSameBytes)) {
        summary.memory = Summary::Memory::absent;
    } else if (!isOpenA || !isOpenB) {
        summary.memory = Summary::Memory::closed;
    } else {
        const std::optional<ElfSymbols> symbolsA = symbolsOf(a);
        const std::optional<ElfSymbols> symbolsB = symbolsOf(b);
        for (const ByteDifference& range : compareBytes(memoryA, memoryB)) {
            const QByteArray nameB = symbolsB ? symbolsB->nameOf(range.from) : QByteArray();
            summary.ranges.push_back({range, nameB.isEmpty() && symbolsA ? symbolsA->nameOf(range.from) : nameB,
                                      bytesAt(memoryA, range, shownBytes), bytesAt(memoryB, range, shownBytes)});
        }
        summary.memory = summary.ranges.empty() ? Summary::Memory::equal : Summary::Memory::different;
    }
    const Field* const versionA = versionOf(a.description);
    const Field* const versionB = versionOf(b.description);
    if (versionA != nullptr && versionB != nullptr && versionA->kind == versionB->kind &&
        (versionA->number != versionB->number || versionA->bytes != versionB->bytes)) {
        summary.versions = {*versionA, *versionB};
    }
    compareOptionWords(a, b, registers, summary);
    return summary;
}

}  // namespace inspect
