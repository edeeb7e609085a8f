// Secure install image: `.tbi`, `.tbix`.

#include "inspect/areaImage.h"

#include <algorithm>
#include <array>

namespace inspect {

namespace {

// The letters are in the order of an image, except `m` and `P`. checkOrder() checks the places of these two.
constexpr std::array letters = {
    AreaLetter{.letter = 'S', .name = "packagedModule", .isAtZero = true, .leastSize = 1},
    AreaLetter{.letter = 'O', .name = "provisioningData", .leastSize = 12},
    AreaLetter{.letter = 'K', .name = "keyArea", .isAtZero = true, .isWords = true, .leastSize = 4},
    AreaLetter{.letter = 'R', .name = "diversification", .isAtZero = true, .isWords = true, .leastSize = 4},
    AreaLetter{.letter = 'M', .name = "module", .kind = ContentKind::module, .isInMemory = true},
    AreaLetter{.letter = 'F', .name = "firmware", .kind = ContentKind::firmware, .isInMemory = true, .leastSize = 1},
    AreaLetter{.letter = 'E',
               .name = "externalFirmware",
               .kind = ContentKind::firmware,
               .isInMemory = true,
               .hasRegionKey = true,
               .leastSize = 17},
    AreaLetter{.letter = 'e',
               .name = "externalModule",
               .kind = ContentKind::module,
               .isInMemory = true,
               .hasRegionKey = true,
               .leastSize = 16},
    AreaLetter{.letter = 'H', .name = "hash", .kind = ContentKind::derived, .isAtZero = true, .exactSize = 32},
    AreaLetter{
        .letter = 'C', .name = "optionBytes", .kind = ContentKind::optionBytes, .isAtZero = true, .isWords = true},
    AreaLetter{.letter = 'm', .name = "moduleRecord", .leastSize = 5},
    AreaLetter{.letter = 'P', .name = "partEnd", .kind = ContentKind::derived, .exactSize = 8},
};

constexpr AreaLayout layout = {"TBIMAGIC", letters, false, SecondBlock::byProtocol, true, 0, 2};

constexpr std::uint64_t wordSize = 32;  // size of a Flash word

// No other area may start in the Flash word that a module ends in.
void findModuleTails(Description& description) {
    const std::vector<const Part*> parts = partsByAddress(description);
    for (const Part* const module : partsByAddress(description, 'M')) {
        const std::uint64_t end = module->address + module->memorySize;
        const std::uint64_t wordEnd = (end + wordSize - 1) / wordSize * wordSize;
        const auto next =
            std::upper_bound(parts.begin(), parts.end(), module->address,
                             [](std::uint64_t address, const Part* part) { return address < part->address; });
        if (end != wordEnd && next != parts.end() && (*next)->address < wordEnd) {
            description.addFinding(FindingCode::moduleTail, module->index, module->offset,
                                   {numberField("other", static_cast<std::uint64_t>((*next)->index)),
                                    addressField("address", (*next)->address)});
        }
    }
}

// The tool accepts a module that overlaps firmware, and a device writes both. The overlap may be intended, so it isn't
// an error.
void noteModulesOverFirmware(Description& description) {
    std::array<const Part*, 2> furthest{};  // firmware, module
    for (const Part* const part : partsByAddress(description)) {
        const AreaLetter* const letter = letterOf(layout, part->letter);
        if (letter == nullptr || part->memorySize == 0) {
            continue;
        }
        const bool isModule = letter->kind == ContentKind::module;
        const Part* const other = furthest[isModule ? 0 : 1];
        if (other != nullptr && part->address - other->address < other->memorySize) {
            description.addFinding(FindingCode::moduleOverFirmware, part->index, part->offset,
                                   {numberField("other", static_cast<std::uint64_t>(other->index)),
                                    addressField("address", part->address)});
        }
        const Part*& own = furthest[isModule ? 1 : 0];
        if (own == nullptr || part->address + part->memorySize > own->address + own->memorySize) {
            own = part;
        }
    }
}

// A licence and an identity are directly before their module. The other letters are in the order of the table. `P` may
// be between any two areas.
void checkOrder(Description& description) {
    constexpr int mostRecords = 2;
    const Part* record = nullptr;
    int records = 0;
    std::ptrdiff_t last = 0;
    for (const Part& part : description.parts) {
        const AreaLetter* const letter = letterOf(layout, part.letter);
        if (letter == nullptr || part.letter == 'P') {
            continue;
        }
        const bool isRecord = part.letter == 'm';
        const bool isModule = part.letter == 'M' || part.letter == 'e';
        const std::ptrdiff_t place = isRecord ? last : letter - letters.data();
        const bool isSingle = part.letter == 'H' || part.letter == 'C';
        const bool fitsRecord = record == nullptr || ((isRecord || isModule) && part.address == record->address);
        records = isRecord ? records + 1 : 0;
        if (place < last || (isSingle && place == last) || !fitsRecord || records > mostRecords) {
            description.addFinding(FindingCode::wrongOrder, part.index, part.offset);
        }
        last = std::max(last, place);
        record = isRecord ? &part : nullptr;
    }
}

// The segments of one memory have ascending addresses.
void checkAscent(char letter, Description& description) {
    const Part* previous = nullptr;
    for (const Part& part : description.parts) {
        if (part.letter != letter) {
            continue;
        }
        if (previous != nullptr && part.address < previous->address) {
            description.addFinding(FindingCode::descending, part.index, part.offset + 8,
                                   {numberField("other", static_cast<std::uint64_t>(previous->index)),
                                    addressField("address", part.address)});
        }
        previous = &part;
    }
}

// `P` ends a part, and no part is empty. A device stores its progress at one address, so each `P` has the same address.
void checkPartEnds(Description& description) {
    const Part* first = nullptr;
    const Part* previous = nullptr;
    for (const Part& part : description.parts) {
        if (part.letter == 'P') {
            if (previous == nullptr || previous->letter == 'P') {
                description.addFinding(FindingCode::wrongOrder, part.index, part.offset);
            }
            first = first == nullptr ? &part : first;
            if (part.address != first->address) {
                description.addFinding(FindingCode::wrongValue, part.index, part.offset + 8,
                                       {textField("field", "destination address"), addressField("value", part.address),
                                        addressField("expected", first->address)});
            }
        }
        previous = &part;
    }
}

// Each image of the tool contains a hash area, which protects the order of all areas.
void checkHash(const AreaImage& image, Description& description) {
    const bool hasHash =
        std::any_of(image.areas.begin(), image.areas.end(), [](const Area& area) { return area.letter == 'H'; });
    if (image.hasEndArea && !hasHash) {
        description.addFinding(FindingCode::noHashArea, 0, image.areas.back().offset);
    }
}

}  // namespace

Match matchInstallImage(QByteArrayView bytes) {
    return matchAreas(bytes, layout);
}

void describeInstallImage(const Source& source, Description& description) {
    const AreaImage image = walkAreas(source.bytes, layout);
    describeAreas(source.bytes, image, layout, description);
    for (const char letter : {'F', 'E'}) {
        findOverlaps(description, letter);
        checkAscent(letter, description);
    }
    for (const char letter : {'M', 'e'}) {
        findWraps(description, letter);
    }
    findModuleTails(description);
    noteModulesOverFirmware(description);
    checkOrder(description);
    checkPartEnds(description);
    checkHash(image, description);
}

void proveInstallImage(const Source& source, const Evidence& evidence, Description& description, Contents* contents) {
    proveAreas(walkAreas(source.bytes, layout), layout, evidence, description, contents);
}

}  // namespace inspect
