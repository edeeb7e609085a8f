#include "Preparation/secureImages/segmentView.h"

#include "display/Display.h"

#include <algorithm>

QByteArrayView segmentBytes(const FileSegment& segment) {
    return QByteArrayView(segment.data).first(std::min<qsizetype>(segment.size, segment.data.size()));
}

bool fitsAddressSpace(std::uint32_t address, qsizetype size) {
    constexpr qsizetype end = qsizetype{1} << 32;
    return size <= end - qsizetype{address} ||
           reportError("The %lld bytes at address 0x%08X go beyond the end of the address space",
                       static_cast<long long>(size), address);
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
