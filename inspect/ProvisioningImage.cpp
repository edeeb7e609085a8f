// Provisioning image: `.pvs` with areas.

#include "inspect/areaImage.h"

#include <algorithm>
#include <array>

namespace inspect {

namespace {

// Those that the tool makes stand first, in the order in which they stand in an image.
constexpr std::array letters = {
    AreaLetter{'S', "secrets", ContentKind::blob},
    AreaLetter{'F', "firmware", ContentKind::firmware, true},
    AreaLetter{'B', "backupSection"},
    AreaLetter{'C', "optionBytes"},
    AreaLetter{'E', "externalFirmware"},
    AreaLetter{'H', "hash"},
    AreaLetter{'K', "keyArea"},
    AreaLetter{'M', "module"},
    AreaLetter{'O', "provisioningData"},
    AreaLetter{'P', "partEnd"},
    AreaLetter{'R', "diversification"},
    AreaLetter{'m', "moduleRecord"},
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
    checkOrder(description);
}

void proveProvisioningImage(const Source& source, const Evidence& evidence, Description& description,
                            Contents* contents) {
    proveAreas(walkAreas(source.bytes, layout), layout, evidence, description, contents);
}

}  // namespace inspect
