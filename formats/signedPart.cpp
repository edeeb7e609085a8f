#include "formats/signedPart.h"

#include <algorithm>

namespace {

constexpr std::array imageMarks = {
    ImageMark{{0x91, 0x29, 0x37, 0x23}, "Input image is of type : VX wireless stack image\n", nullptr, 4},
    ImageMark{{0x21, 0x92, 0x27, 0x32},
              "Input image is of type : VX LVM image\n",
              "This signature will work only when updating from KBS v0.5.3 to v1.0.1\n",
              -28},
    ImageMark{{0x11, 0x98, 0x76, 0x42}, "Input image is of type : other VX image\n", nullptr, 4},
};

}  // namespace

const ImageMark* findSignedPart(QByteArrayView image, qsizetype& length) {
    for (qsizetype i = 0; i + 4 <= image.size(); ++i) {
        for (const ImageMark& mark : imageMarks) {
            if (std::equal(mark.bytes.begin(), mark.bytes.end(), image.begin() + i,
                           [](unsigned char a, char b) { return a == static_cast<unsigned char>(b); })) {
                length = std::max<qsizetype>(i + mark.lengthFromMark, 0);
                return &mark;
            }
        }
    }
    return nullptr;
}
