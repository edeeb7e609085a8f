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
constexpr qsizetype contentHashSize = 32;  ///< bytes; the hash is computed while the image is written

/// One area to write. The payload consists of the pieces in their order; it is encrypted when the image is written. The
/// pieces are views of the caller's records or of bytes that the plan keeps.
struct PlannedArea {
    char letter = 0;
    std::uint32_t address = 0;  ///< destination address
    QVarLengthArray<QByteArrayView, 2> pieces;
    std::array<char, secureImage::secondBlockSize> secondBlock{};  ///< only in area headers of the long form
};

/// All areas of an image, in order. Encryption starts when the plan is complete, because every area header contains the
/// number of areas.
struct AreaPlan {
    AreaPlan() = default;
    ~AreaPlan();
    AreaPlan(const AreaPlan&) = delete;
    AreaPlan& operator=(const AreaPlan&) = delete;

    std::vector<PlannedArea> areas;
    std::vector<QByteArray> generated;  ///< generated payload bytes; the destructor wipes them

    /// Keeps `bytes` as long as the plan exists.
    [[nodiscard]] QByteArrayView keep(QByteArray bytes);
};

/// The size of an area's payload.
[[nodiscard]] qsizetype payloadSize(const PlannedArea& area);

/// Appends the bytes of all segments of `file`, which may be null, to the area's payload.
void appendSegments(PlannedArea& area, const FileData* file);
