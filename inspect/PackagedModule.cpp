// Packaged module: `.xtbi`. Only the module's maker has its key.

#include "inspect/areaImage.h"

#include <array>

namespace inspect {

namespace {

constexpr std::array letters = {
    AreaLetter{'A', "other"},
    AreaLetter{'C', "optionBytes"},
    AreaLetter{'E', "externalFirmware"},
    AreaLetter{.letter = 'F', .name = "firmware", .kind = ContentKind::firmware, .isInMemory = true},
    AreaLetter{'H', "hash"},
    AreaLetter{'K', "keyArea"},
    AreaLetter{'M', "module"},
    AreaLetter{'O', "provisioningData"},
    AreaLetter{'P', "partEnd"},
    AreaLetter{'R', "diversification"},
    AreaLetter{'S', "packagedModule"},
    AreaLetter{'m', "moduleRecord"},
};

constexpr AreaLayout layout = {"TBIMAGIC", letters, true, SecondBlock::always, true, 0};

}  // namespace

Match matchPackagedModule(QByteArrayView bytes) {
    return matchAreas(bytes, layout);
}

void describePackagedModule(const Source& source, Description& description) {
    describeAreas(source.bytes, walkAreas(source.bytes, layout), layout, description);
    findOverlaps(description, 'F');
}

void provePackagedModule(const Source& /*source*/, const Evidence& /*evidence*/, Description& description,
                         Contents* /*contents*/) {
    description.addUnchecked(CheckCode::tag, Reason::unknownCipher);
}

}  // namespace inspect
