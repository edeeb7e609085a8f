// Provisioning image: `.pvs` with areas.

#include "inspect/areaImage.h"

#include <algorithm>
#include <array>

namespace inspect {

namespace {

// The letters are in the order of an image.
constexpr std::array letters = {
    AreaLetter{.letter = 'S', .name = "secrets", .kind = ContentKind::blob, .isAtZero = true, .leastSize = 1},
    AreaLetter{.letter = 'F', .name = "firmware", .kind = ContentKind::firmware, .isInMemory = true, .leastSize = 1},
    AreaLetter{.letter = 'B', .name = "backupSection", .kind = ContentKind::backup, .leastSize = 12},
};

constexpr AreaLayout layout = {"PVSMAGIC", letters, false, SecondBlock::always, false, 1};

void checkOrder(Description& description) {
    const AreaLetter* last = nullptr;
    for (const Part& part : description.parts) {
        const AreaLetter* const letter = letterOf(layout, part.letter);
        if (letter == nullptr) {
            continue;
        }
        const bool isFirst = last == nullptr;
        const bool isSecrets = part.letter == 'S';
        if (isFirst != isSecrets || (!isFirst && letter < last)) {
            description.addFinding(FindingCode::wrongOrder, part.index, part.offset);
        }
        last = std::max(last, letter);
    }
}

}  // namespace

Match matchProvisioningImage(QByteArrayView bytes) {
    return matchAreas(bytes, layout);
}

void describeProvisioningImage(const Source& source, Description& description) {
    describeAreas(source.bytes, walkAreas(source.bytes, layout), layout, description);
    findOverlaps(description, 'F');
    checkOrder(description);
}

void proveProvisioningImage(const Source& source, const Evidence& evidence, Description& description,
                            Contents* contents) {
    proveAreas(walkAreas(source.bytes, layout), layout, evidence, description, contents);
    findOverlaps(description, 'B');  // the end of a section is known only after its record is decrypted
}

}  // namespace inspect
