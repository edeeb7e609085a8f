#include "Preparation/secureImages/encryptAreas.h"

#include "Preparation/primitives/Sha256.h"
#include "display/Display.h"
#include "files/largePages.h"
#include "files/readExactly.h"

#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>

// The additional authenticated data of an area is the file header, followed by the area's header without the tag.
//
// The image is one array of its final size. Every payload is encrypted directly into its place in the array.

namespace {

struct ImageWriter {
    const AreaImageForm& form;
    AesGcm& cipher;
    std::uint16_t areaCount = 0;
    std::optional<Sha256> contentHash;  ///< hash of the payloads before the hash area, if there is one
    QByteArray image;
    char* next = nullptr;

    void writeFileHeader();
    [[nodiscard]] bool writeArea(const PlannedArea& area, std::uint16_t number);
    [[nodiscard]] bool encryptPiece(QByteArrayView piece);
    [[nodiscard]] bool encryptContentHash();
};

void ImageWriter::writeFileHeader() {
    std::memset(next, 0, secureImage::fileHeaderSize);
    std::copy(form.magic.begin(), form.magic.end(), next);
    qToLittleEndian(form.protocolVersion, next + secureImage::protocolVersionOffset);
    qToLittleEndian(areaCount, next + secureImage::areaCountOffset);
    std::copy(form.baseIv.begin(), form.baseIv.end(), next + secureImage::nonceOffset);
    next += secureImage::fileHeaderSize;
}

bool ImageWriter::writeArea(const PlannedArea& area, std::uint16_t number) {
    char* const header = next;
    header[areaHeader::letterOffset] = area.letter;
    header[areaHeader::imageVersionOffset] = static_cast<char>(form.imageVersion);
    qToLittleEndian(number, header + areaHeader::numberOffset);
    qToLittleEndian(static_cast<std::uint32_t>(payloadSize(area)), header + areaHeader::payloadSizeOffset);
    qToLittleEndian(area.address, header + areaHeader::addressOffset);
    qToLittleEndian(areaCount, header + areaHeader::areaCountOffset);
    if (form.areaHeaderSize == areaHeader::longHeaderSize) {
        std::copy(area.secondBlock.begin(), area.secondBlock.end(), header + areaHeader::secondBlockOffset);
    }
    next += form.areaHeaderSize;

    const ImageIv iv = areaIv(form.baseIv, form.kind, form.imageVersion, number);
    const QByteArrayView written(image.constData(), next - image.constData());
    const QByteArrayView headerBytes = written.last(form.areaHeaderSize);
    return cipher.start(QByteArrayView(iv),
                        {written.first(secureImage::fileHeaderSize), headerBytes.first(areaHeader::tagOffset),
                         headerBytes.sliced(areaHeader::secondBlockOffset)}) &&
           (area.letter != areaLetter::contentHash || encryptContentHash()) &&
           std::all_of(area.pieces.begin(), area.pieces.end(),
                       [this](QByteArrayView piece) { return encryptPiece(piece); }) &&
           cipher.finish(header + areaHeader::tagOffset);
}

bool ImageWriter::encryptPiece(QByteArrayView piece) {
    if (contentHash && !contentHash->update(piece)) {
        return false;
    }
    char* const out = next;
    next += piece.size();
    return cipher.encrypt(piece, out);
}

bool ImageWriter::encryptContentHash() {
    Sha256Digest hash{};
    if (!contentHash || !contentHash->finish(hash)) {
        return false;
    }
    contentHash.reset();  // later areas aren't hashed
    return encryptPiece(QByteArrayView(hash));
}

/// Checks that the number of areas and the sizes of their payloads fit the fields of the headers.
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
    ImageWriter writer{form, cipher, static_cast<std::uint16_t>(plan.areas.size()), {}, {}, nullptr};
    qsizetype size = secureImage::fileHeaderSize;
    bool hashed = false;
    for (const PlannedArea& area : plan.areas) {
        size += form.areaHeaderSize + payloadSize(area);
        hashed = hashed || area.letter == areaLetter::contentHash;
    }
    if (hashed) {
        writer.contentHash.emplace();
        if (!writer.contentHash->start()) {
            reportError("The hash SHA-256 isn't available");
            return {};
        }
    }
    // The caller may free this array and read the written image back. The new array then fits into the freed memory,
    // even if small arrays have been allocated there, because this array has additional room.
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
            reportError("Error while encrypting area %d", int{number});
            return {};
        }
    }
    return std::move(writer.image);
}
