#include "Preparation/secureImages/AreaPlan.h"

#include "Preparation/secureImages/segmentView.h"
#include "files/wipe.h"

#include <algorithm>
#include <numeric>
#include <utility>

AreaPlan::~AreaPlan() {
    std::for_each(generated.begin(), generated.end(), [](QByteArray& bytes) { wipe(bytes); });
}

QByteArrayView AreaPlan::keep(QByteArray bytes) {
    // When the list grows, the QByteArray handles move but the bytes don't, so the view stays valid.
    return generated.emplace_back(std::move(bytes));
}

qsizetype payloadSize(const PlannedArea& area) {
    return std::accumulate(area.pieces.begin(), area.pieces.end(),
                           area.letter == areaLetter::contentHash ? contentHashSize : qsizetype{0},
                           [](qsizetype sum, QByteArrayView piece) { return sum + piece.size(); });
}

void appendSegments(PlannedArea& area, const FileData* file) {
    if (file != nullptr) {
        for (const FileSegment& segment : file->segments) {
            area.pieces.append(segmentBytes(segment));
        }
    }
}
