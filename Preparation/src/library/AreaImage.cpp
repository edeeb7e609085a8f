#include "Preparation/src/library/AreaImage.h"

#include "Preparation/src/opensslObjects.h"
#include "display/Display.h"
#include "files/largePages.h"
#include "files/readExactly.h"

#include <QtEndian>

#include <openssl/err.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstring>
#include <limits>

// An image is a file header and a chain of areas, each a header and an encrypted payload. All numbers are
// little-endian.
//
//   File header                      Area header
//     0  magic               8         0  letter                    1
//     8  protocol version    2         1  image version             1
//    10  number of areas     2         2  area number, from 1       2
//    12  base IV            12         4  size of the payload       4
//    24  zero                4         8  destination address       4
//                                     12  number of areas           2
//                                     14  tag                      16
//                                     30  second block             16, only in the long form
//
// The additional authenticated data of an area is the file header and then its own header without the tag.
//
// The image is one array of its final size, and every payload goes from where it lies straight to its place in there.

namespace {

constexpr qsizetype fileHeaderSize = 28;
constexpr qsizetype baseIvOffset = 12;
constexpr qsizetype tagOffset = 14;
constexpr qsizetype secondBlockOffset = 30;

struct ImageWriter {
    const AreaImageForm& form;
    AesGcm& cipher;
    std::uint16_t areaCount = 0;
    DigestContext contentHash;  ///< null if the image has no hash area
    QByteArray image;
    char* next = nullptr;

    void writeFileHeader();
    [[nodiscard]] bool writeArea(const PlannedArea& area, std::uint16_t number);
    [[nodiscard]] bool encryptPiece(QByteArrayView piece);
    [[nodiscard]] bool encryptContentHash();
};

void ImageWriter::writeFileHeader() {
    std::memset(next, 0, fileHeaderSize);
    std::copy(form.magic.begin(), form.magic.end(), next);
    qToLittleEndian(form.protocolVersion, next + 8);
    qToLittleEndian(areaCount, next + 10);
    std::copy(form.baseIv.begin(), form.baseIv.end(), next + baseIvOffset);
    next += fileHeaderSize;
}

bool ImageWriter::writeArea(const PlannedArea& area, std::uint16_t number) {
    char* const header = next;
    header[0] = area.letter;
    header[1] = static_cast<char>(form.imageVersion);
    qToLittleEndian(number, header + 2);
    qToLittleEndian(static_cast<std::uint32_t>(payloadSize(area)), header + 4);
    qToLittleEndian(area.address, header + 8);
    qToLittleEndian(areaCount, header + 12);
    if (form.areaHeaderSize == longAreaHeaderSize) {
        std::copy(area.secondBlock.begin(), area.secondBlock.end(), header + secondBlockOffset);
    }
    next += form.areaHeaderSize;

    const ImageIv iv = areaIv(form.baseIv, form.kind, form.imageVersion, number);
    const QByteArrayView written(image.constData(), next - image.constData());
    const QByteArrayView headerBytes = written.last(form.areaHeaderSize);
    return cipher.start(QByteArrayView(iv), {written.first(fileHeaderSize), headerBytes.first(tagOffset),
                                             headerBytes.sliced(secondBlockOffset)}) &&
           (area.letter != contentHashLetter || encryptContentHash()) &&
           std::all_of(area.pieces.begin(), area.pieces.end(),
                       [this](QByteArrayView piece) { return encryptPiece(piece); }) &&
           cipher.finish(header + tagOffset);
}

bool ImageWriter::encryptPiece(QByteArrayView piece) {
    if (contentHash && EVP_DigestUpdate(contentHash.get(), piece.data(), static_cast<std::size_t>(piece.size())) != 1) {
        return false;
    }
    char* const out = next;
    next += piece.size();
    return cipher.encrypt(piece, out);
}

bool ImageWriter::encryptContentHash() {
    std::array<unsigned char, contentHashSize> hash{};
    if (!contentHash || EVP_DigestFinal_ex(contentHash.get(), hash.data(), nullptr) != 1) {
        return false;
    }
    contentHash.reset();  // what comes behind isn't hashed
    return encryptPiece(QByteArrayView(hash));
}

/// Whether the areas fit the fields of their headers.
bool checkSizes(const AreaPlan& plan) {
    if (plan.areas.size() > maxAreaCount) {
        return reportError("The image needs more than %d areas", int{maxAreaCount});
    }
    for (const PlannedArea& area : plan.areas) {
        if (payloadSize(area) > qsizetype{std::numeric_limits<std::uint32_t>::max()}) {
            return reportError("The %c area for address 0x%08X has 4 GiB or more", area.letter, area.address);
        }
    }
    return true;
}

}  // namespace

QByteArray encryptAreas(const AreaImageForm& form, const AreaPlan& plan, AesGcm& cipher) {
    if (!checkSizes(plan)) {
        return {};
    }
    ImageWriter writer{form, cipher, static_cast<std::uint16_t>(plan.areas.size()), nullptr, {}, nullptr};
    qsizetype size = fileHeaderSize;
    bool hashed = false;
    for (const PlannedArea& area : plan.areas) {
        size += form.areaHeaderSize + payloadSize(area);
        hashed = hashed || area.letter == contentHashLetter;
    }
    if (hashed) {
        writer.contentHash.reset(EVP_MD_CTX_new());
        if (!writer.contentHash || EVP_DigestInit_ex(writer.contentHash.get(), EVP_sha256(), nullptr) != 1) {
            ERR_clear_error();
            reportError("The hash SHA-256 isn't available");
            return {};
        }
    }
    // The image is read back into the memory that this array leaves, of which small arrays take some before.
    constexpr qsizetype roomForSmallArrays = 1 << 16;
    if (!canAllocate(size + roomForSmallArrays)) {
        reportError("Unable to allocate memory");
        return {};
    }
    writer.image.reserve(size + roomForSmallArrays);
    writer.image.resize(size);
    preferLargePages(writer.image);
    writer.next = writer.image.data();
    writer.writeFileHeader();
    std::uint16_t number = 0;
    for (const PlannedArea& area : plan.areas) {
        if (!writer.writeArea(area, ++number)) {
            ERR_clear_error();
            reportError("Error while encrypting area %d", int{number});
            return {};
        }
    }
    return std::move(writer.image);
}
