#include "display/Display.h"
#include "files/ByteReader.h"
#include "files/readExactly.h"
#include "formats/FileTBI.h"
#include "formats/firstOverlap.h"
#include "formats/readers.h"
#include "formats/secureImageLayout.h"

#include <algorithm>
#include <string_view>

// The three kinds of image share one layout; ImageForm contains their differences.
//
// Areas are read one at a time, directly into the buffers of the record. The memory for a payload is limited by the
// bytes in the file, not by the size field.

namespace {

struct ImageForm {
    FileType fileType;
    const char* kind;  ///< the name in messages
    QByteArrayView magic;
    qsizetype fileHeaderSize;
    std::string_view letters;           ///< the area types that are accepted
    bool versionInFileHeader;           ///< the file header contains the image version; if not, every area does
    bool areaHeaderByVersion;           ///< the protocol version gives the size of area headers; if not, they are long
    qsizetype tagOffset;                ///< inside the area header
    bool endsAtOptionBytes;             ///< reading ends at the option bytes area, which must exist
    std::string_view exclusiveLetters;  ///< the types whose areas must not overlap areas of the same type
    bool keepsFlashWords;               ///< no area may start in the last Flash word of a module area
};

constexpr ImageForm tbiForm{.fileType = fileTypeTbi,
                            .kind = "an TBI",
                            .magic = secureImage::installMagic,
                            .fileHeaderSize = secureImage::fileHeaderSize,
                            .letters = "CEFHKMOPRSem",
                            .versionInFileHeader = false,
                            .areaHeaderByVersion = true,
                            .tagOffset = areaHeader::tagOffset,
                            .endsAtOptionBytes = true,
                            .exclusiveLetters = "FE",
                            .keepsFlashWords = true};

constexpr ImageForm xtbiForm{.fileType = fileTypeXtbi,
                             .kind = "an TBI",
                             .magic = secureImage::installMagic,
                             .fileHeaderSize = secureImage::packagedFileHeaderSize,
                             .letters = "ACEFHKMOPRSm",
                             .versionInFileHeader = true,
                             .areaHeaderByVersion = false,
                             .tagOffset = areaHeader::packagedTagOffset,
                             .endsAtOptionBytes = true,
                             .exclusiveLetters = "F",
                             .keepsFlashWords = false};

constexpr ImageForm pvsTbiForm{.fileType = fileTypeTbi,
                               .kind = "a PVS TBI",
                               .magic = secureImage::provisioningMagic,
                               .fileHeaderSize = secureImage::fileHeaderSize,
                               .letters = "BCEFHKMOPRSm",
                               .versionInFileHeader = false,
                               .areaHeaderByVersion = false,
                               .tagOffset = areaHeader::tagOffset,
                               .endsAtOptionBytes = false,
                               .exclusiveLetters = "",
                               .keepsFlashWords = false};

bool readFileHeader(QFile& device, const ImageForm& form, FileTBI& image) {
    image.header = device.read(form.fileHeaderSize);
    ByteReader fields(image.header);
    const bool magicFits = fields.take(secureImage::magicSize) == form.magic;
    image.protocolVersion = fields.u16();
    image.imageVersion = form.versionInFileHeader ? fields.u32() : 0;
    image.segmentCount = fields.u16();
    // If the file is too short to contain the number of areas, the number is 0. An image that needs an option bytes
    // area then fails later.
    const bool cutOff = !fields.ok() && !form.endsAtOptionBytes;
    image.nonce = fields.take(secureImage::nonceSize).toByteArray();
    if (!magicFits || cutOff) {
        return reportError("The file %s is not %s image", qUtf8Printable(device.fileName()), form.kind);
    }
    if (form.fileType == fileTypeXtbi && image.protocolVersion == secureImage::longFileHeaderProtocol) {
        image.header += device.read(secureImage::packagedFileHeaderRest);
    }
    image.headerSize = static_cast<std::uint32_t>(image.header.size());
    image.nonceSize = static_cast<std::uint32_t>(image.nonce.size());
    return true;
}

/// The length of every area header; 0 for an unknown protocol version.
qsizetype areaHeaderSize(const ImageForm& form, std::uint16_t protocolVersion) {
    if (!form.areaHeaderByVersion) {
        return areaHeader::longHeaderSize;
    }
    switch (protocolVersion) {
        case secureImage::shortHeaderProtocol:
            return areaHeader::shortHeaderSize;
        case secureImage::longHeaderProtocol:
        case secureImage::laterLongHeaderProtocol:
            return areaHeader::longHeaderSize;
        default:
            return 0;
    }
}

/// Reads and checks the header of area `number`, counted from 1. An incomplete header fails one of the checks, at the
/// latest the check of the number of areas.
bool readAreaHeader(QFile& device, const ImageForm& form, qsizetype headerSize, std::uint32_t number, FileTBI& image,
                    TbiArea& area) {
    area.header = device.read(headerSize);
    area.headerSize = static_cast<std::uint32_t>(area.header.size());
    ByteReader fields(area.header);
    area.type = fields.u8();
    if (form.letters.find(static_cast<char>(area.type)) == std::string_view::npos) {
        return reportError("Unknown area type at area %d", static_cast<int>(number));
    }
    const std::uint8_t version = fields.u8();
    if (!form.versionInFileHeader) {
        if (number == 1) {
            image.imageVersion = version;
        }
        if (!fields.ok() || version != image.imageVersion) {
            return reportError("Image version check failed at area %d", static_cast<int>(number));
        }
    }
    if (fields.u16() != number) {
        return reportError("Area index check failed at area %d", static_cast<int>(number));
    }
    area.size = fields.u32();
    area.address = fields.u32();
    if (fields.u16() != image.segmentCount || area.header.size() < headerSize) {
        return reportError("Area number check failed at area %d", static_cast<int>(number));
    }
    area.tag = area.header.sliced(form.tagOffset, secureImage::tagSize);
    area.tagSize = secureImage::tagSize;
    return true;
}

bool readPayload(QFile& device, qint64 fileSize, TbiArea& area) {
    const qint64 held = std::clamp<qint64>(fileSize - device.pos(), 0, area.size);
    switch (readExactly(device, held, area.data)) {
        case ReadStatus::done:
            return true;
        case ReadStatus::noMemory:
            return reportError("Unable to allocate memory");
        case ReadStatus::cutShort:
            break;
    }
    return reportError("Error while reading the file");
}

bool readAreas(QFile& device, const ImageForm& form, FileTBI& image) {
    const qsizetype headerSize = areaHeaderSize(form, image.protocolVersion);
    if (headerSize == 0 && image.segmentCount > 0) {
        return reportError("The file %s has the TBI protocol version %d, only 1, 2 and 3 can be read",
                           qUtf8Printable(device.fileName()), image.protocolVersion);
    }
    const qint64 fileSize = device.size();
    for (std::uint32_t number = 1; number <= image.segmentCount; ++number) {
        TbiArea area;
        if (!readAreaHeader(device, form, headerSize, number, image, area) || !readPayload(device, fileSize, area)) {
            return false;
        }
        image.areas.push_back(std::move(area));
        if (form.endsAtOptionBytes && image.areas.back().type == areaLetter::optionBytes) {
            image.segmentCount = number;
            return true;
        }
    }
    if (form.endsAtOptionBytes) {
        displayMessage(MessageKind::warning, "Failed to locate an option bytes area");
        return false;
    }
    return true;
}

/// Looks for overlaps among all areas of one type, except the last area of the file. `first` and `second` receive the
/// numbers, counted from 1, of the first pair that overlaps. If they already contain an earlier pair, they are
/// unchanged.
void findOverlap(const std::vector<TbiArea>& areas, std::uint8_t type, std::size_t& first, std::size_t& second) {
    const std::uint32_t tail = type == areaLetter::external ? std::uint32_t{regionDescriptor::keySize} : 0;
    std::vector<AddressRange> ranges;
    std::vector<std::size_t> numbers;
    for (std::size_t i = 0; i + 1 < areas.size(); ++i) {
        if (areas[i].type == type) {
            ranges.push_back({areas[i].address, areas[i].address + areas[i].size - tail});
            numbers.push_back(i + 1);
        }
    }
    const auto pair = firstOverlap(ranges);
    if (pair && (first == 0 || numbers[pair->first] < first)) {
        first = numbers[pair->first];
        second = numbers[pair->second];
    }
}

bool checkOverlaps(const ImageForm& form, const std::vector<TbiArea>& areas) {
    std::size_t first = 0;
    std::size_t second = 0;
    for (const char letter : form.exclusiveLetters) {
        findOverlap(areas, static_cast<std::uint8_t>(letter), first, second);
    }
    if (first != 0) {
        return reportError("Overlap between TBI areas %d and %d", static_cast<int>(first), static_cast<int>(second));
    }
    return true;
}

/// A Flash word is written as a whole. If a module ends inside a word, no other area may start in this word.
bool checkFlashWords(const std::vector<TbiArea>& areas) {
    std::vector<std::uint32_t> addresses;
    addresses.reserve(areas.size());
    std::transform(areas.begin(), areas.end(), std::back_inserter(addresses),
                   [](const TbiArea& area) { return area.address; });
    std::sort(addresses.begin(), addresses.end());
    return std::all_of(areas.begin(), areas.end(), [&addresses](const TbiArea& area) {
        const std::uint32_t end = area.address + area.size;
        if (area.type != areaLetter::module || end % secureImage::flashWordSize == 0) {
            return true;
        }
        const std::uint64_t limit = (end / secureImage::flashWordSize + 1) * secureImage::flashWordSize;
        const auto next = std::upper_bound(addresses.begin(), addresses.end(), area.address);
        return next == addresses.end() || *next >= limit ||
               reportError("The area immediately following a module area starts in its last Flash word");
    });
}

bool readImage(QFile& device, const ImageForm& form, std::shared_ptr<FileData>& record) {
    auto image = std::make_shared<FileTBI>();
    image->fileType = form.fileType;
    if (!readFileHeader(device, form, *image) || !readAreas(device, form, *image) ||
        !checkOverlaps(form, image->areas) || (form.keepsFlashWords && !checkFlashWords(image->areas))) {
        return false;
    }
    record = std::move(image);
    return true;
}

}  // namespace

bool readTbiFile(FileLoadContext& /*context*/, QFile& device, std::shared_ptr<FileData>& record) {
    return readImage(device, tbiForm, record);
}

bool readXtbiFile(FileLoadContext& /*context*/, QFile& device, std::shared_ptr<FileData>& record) {
    return readImage(device, xtbiForm, record);
}

bool readPvsTbiFile(FileLoadContext& /*context*/, QFile& device, std::shared_ptr<FileData>& record) {
    return readImage(device, pvsTbiForm, record);
}
