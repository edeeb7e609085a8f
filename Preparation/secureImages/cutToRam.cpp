#include "Preparation/secureImages/cutToRam.h"

#include "display/Display.h"
#include "files/byteWriter.h"

#include <utility>

// Without a continuation token, the device receives each area separately. With one, areas are collected into parts. A P
// area ends each part except the last one. The P area contains the number of the part and the number of areas that
// follow. Every part, even the last one, has room for a P area, so that a cut doesn't depend on later areas.
//
// Only firmware (F areas) is cut, at multiples of a Flash word. A segment that starts at a word boundary is therefore
// only cut at word boundaries. All other areas are placed whole or rejected.

namespace {

constexpr std::uint32_t minRamSize = 128;
constexpr qsizetype continuationSize = 8;

struct PartCutter {
    const RamLimit& limit;
    qsizetype room;                   ///< largest total size of the areas in one part, headers included
    std::vector<PlannedArea> placed;  ///< the areas that are already placed
    qsizetype used = 0;               ///< total size of the areas in the open part, headers included

    /// The size of the payload that still fits in the open part; may be negative.
    [[nodiscard]] qsizetype payloadLeft() const { return room - used - limit.areaHeaderSize; }

    [[nodiscard]] bool place(PlannedArea area);
    [[nodiscard]] bool placeWhole(const PlannedArea& area);
    [[nodiscard]] bool placeInPieces(const PlannedArea& segment);
    [[nodiscard]] bool endPart();
    void fillContinuationAreas(AreaPlan& plan);
};

bool PartCutter::place(PlannedArea area) {
    if (placed.size() >= maxAreaCount) {
        return reportError("The image needs more than %d areas", int{maxAreaCount});
    }
    used = limit.continuationToken == 0 ? 0 : used + limit.areaHeaderSize + payloadSize(area);
    placed.push_back(std::move(area));
    return true;
}

bool PartCutter::endPart() {
    if (!place({areaLetter::continuation, limit.continuationToken, {}, {}})) {
        return false;
    }
    used = 0;
    return true;
}

bool PartCutter::placeWhole(const PlannedArea& area) {
    const qsizetype size = payloadSize(area);
    if (size > room - limit.areaHeaderSize) {
        return reportError("The %c area for address 0x%08X has %lld bytes, with a RAM size of %u it can have %lld",
                           area.letter, area.address, static_cast<long long>(size), limit.ramSize,
                           static_cast<long long>(room - limit.areaHeaderSize));
    }
    return (size <= payloadLeft() || endPart()) && place(area);
}

bool PartCutter::placeInPieces(const PlannedArea& segment) {
    QByteArrayView rest = segment.pieces.front();
    PlannedArea piece = segment;
    while (rest.size() > payloadLeft()) {
        const qsizetype size = payloadLeft() / secureImage::flashWordSize * secureImage::flashWordSize;
        if (size >= secureImage::flashWordSize) {
            piece.pieces = {rest.first(size)};
            if (!place(piece)) {
                return false;
            }
            rest = rest.sliced(size);
            piece.address += static_cast<std::uint32_t>(size);
        } else if (used == 0) {
            return reportError("The firmware segment at address 0x%08X can't be cut to a RAM size of %u",
                               segment.address, limit.ramSize);
        } else if (!endPart()) {
            return false;
        }
    }
    piece.pieces = {rest};
    return place(std::move(piece));
}

void PartCutter::fillContinuationAreas(AreaPlan& plan) {
    std::uint32_t part = 0;
    std::size_t stillToCome = placed.size();
    for (PlannedArea& area : placed) {
        --stillToCome;
        if (area.letter == areaLetter::continuation) {
            QByteArray content;
            appendU32(content, ++part);
            appendU32(content, static_cast<std::uint32_t>(stillToCome));
            area.pieces = {plan.keep(content)};
        }
    }
}

}  // namespace

bool cutToRam(const RamLimit& limit, AreaPlan& plan) {
    if (limit.ramSize == 0) {
        return true;
    }
    if (limit.ramSize < minRamSize) {
        return reportError("A RAM size of %u is too small, at least %u are needed", limit.ramSize, minRamSize);
    }
    const qsizetype keptFree = limit.continuationToken == 0 ? 0 : limit.areaHeaderSize + continuationSize;
    PartCutter cutter{limit, qsizetype{limit.ramSize} - keptFree, {}};
    for (const PlannedArea& area : plan.areas) {
        const bool placed = area.letter == areaLetter::firmware ? cutter.placeInPieces(area) : cutter.placeWhole(area);
        if (!placed) {
            return false;
        }
    }
    cutter.fillContinuationAreas(plan);
    plan.areas = std::move(cutter.placed);
    return true;
}
