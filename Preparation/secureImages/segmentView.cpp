#include "Preparation/secureImages/segmentView.h"

#include <algorithm>

QByteArrayView segmentBytes(const FileSegment& segment) {
    return QByteArrayView(segment.data).first(std::min<qsizetype>(segment.size, segment.data.size()));
}

std::vector<const FileSegment*> sortedSegments(const FileData* file) {
    std::vector<const FileSegment*> segments;
    if (file != nullptr) {
        for (const FileSegment& segment : file->segments) {
            if (!segmentBytes(segment).isEmpty()) {
                segments.push_back(&segment);
            }
        }
    }
    std::stable_sort(segments.begin(), segments.end(),
                     [](const FileSegment* left, const FileSegment* right) { return left->address < right->address; });
    return segments;
}
