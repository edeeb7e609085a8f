// Secure install image: `.tbi`, `.tbix`.

#include "inspect/areaImage.h"

#include <algorithm>
#include <array>

namespace inspect {

namespace {

// In the order in which they stand in an image; `m` and `P` have places of their own.
constexpr std::array letters = {
    AreaLetter{'S', "packagedModule"},
    AreaLetter{'O', "provisioningData"},
    AreaLetter{'K', "keyArea", ContentKind::other, false, false, true},
    AreaLetter{'R', "diversification", ContentKind::other, false, false, true},
    AreaLetter{'M', "module", ContentKind::module, true},
    AreaLetter{'F', "firmware", ContentKind::firmware, true},
    AreaLetter{'E', "externalFirmware", ContentKind::firmware, true, true},
    AreaLetter{'e', "externalModule", ContentKind::module, true, true},
    AreaLetter{'H', "hash", ContentKind::derived},
    AreaLetter{'C', "optionBytes", ContentKind::optionBytes, false, false, true},
    AreaLetter{'m', "moduleRecord"},
    AreaLetter{'P', "partEnd", ContentKind::derived},
};

constexpr AreaLayout layout = {"TBIMAGIC", letters, false, SecondBlock::byProtocol, true, 0, 2};

constexpr std::uint64_t wordSize = 32;  // of Flash memory

// The Flash word that a module ends in belongs to it alone.
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

// A licence or identity stands directly before its module, and the letters of the rest in the order of the table. `P`
// may stand between any two.
void checkOrder(Description& description) {
    const Part* record = nullptr;
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
        if (place < last || (isSingle && place == last) || !fitsRecord) {
            description.addFinding(FindingCode::wrongOrder, part.index, part.offset);
        }
        last = std::max(last, place);
        record = isRecord ? &part : nullptr;
    }
}

// Every image of the tool has one: what covers the order of its areas as a whole.
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
    findOverlaps(description, 'F');
    findOverlaps(description, 'E');
    findModuleTails(description);
    checkOrder(description);
    checkHash(image, description);
}

void proveInstallImage(const Source& source, const Evidence& evidence, Description& description, Contents* contents) {
    proveAreas(walkAreas(source.bytes, layout), layout, evidence, description, contents);
}

}  // namespace inspect
