#pragma once

#include "files/FileData.h"
#include "formats/secureImageLayout.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QVarLengthArray>

#include <array>
#include <cstdint>
#include <vector>

constexpr std::size_t maxAreaCount = 0xFFFF;
constexpr qsizetype contentHashSize = 32;  ///< payload of the hash area, which comes to be while the image is written

/// One area as it is to be written. The payload is what gets encrypted: the pieces, one after the other. They are
/// views of the caller's records or of what the plan keeps.
struct PlannedArea {
    char letter = 0;
    std::uint32_t address = 0;  ///< destination address
    QVarLengthArray<QByteArrayView, 2> pieces;
    std::array<char, secureImage::secondBlockSize> secondBlock{};  ///< only in area headers of the long form
};

/// All areas of an image, in order. Nothing is encrypted before the plan is complete, because every area header holds
/// the number of areas.
struct AreaPlan {
    AreaPlan() = default;
    ~AreaPlan();
    AreaPlan(const AreaPlan&) = delete;
    AreaPlan& operator=(const AreaPlan&) = delete;

    std::vector<PlannedArea> areas;
    std::vector<QByteArray> generated;  ///< payload bytes made for this image; wiped with the plan

    /// Keeps `bytes` as long as the plan lives.
    [[nodiscard]] QByteArrayView keep(QByteArray bytes);
};

/// The size of an area's payload.
[[nodiscard]] qsizetype payloadSize(const PlannedArea& area);

/// Puts the bytes of all segments of `file`, which may be null, at the end of the area's payload.
void appendSegments(PlannedArea& area, const FileData* file);
