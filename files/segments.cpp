#include "files/segments.h"

#include "display/Display.h"
#include "files/LaterRanges.h"
#include "files/readExactly.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::uint32_t maxBridgedGap = 31;

// The memory needed per segment to sort the segments and compare each with all others.
constexpr std::size_t bytesToCompare = 64;

std::uint32_t endOf(const FileSegment& segment) {
    return segment.address + segment.size;
}

// Enlarges the segment to `size` bytes and keeps its content.
bool enlarge(FileSegment& segment, qint64 size) {
    segment.data.resize(segment.size);
    if (size > segment.data.capacity()) {
        // The capacity is doubled, so that a long chain of joins takes linear time.
        const qint64 grown = std::max<qint64>(size, segment.data.capacity() * 2);
        if (!memoryAvailable(size) || !canAllocate(grown)) {
            return false;
        }
        segment.data.reserve(grown);
    }
    segment.data.resize(size);
    segment.size = static_cast<std::uint32_t>(size);
    return true;
}

bool join(FileSegment& first, const FileSegment& second, std::uint32_t gap, std::uint8_t fillByte) {
    const std::uint32_t gapOffset = first.size;
    if (!enlarge(first, qint64{first.size} + gap + second.size)) {
        return false;
    }
    char* const target = first.data.data() + gapOffset;
    std::memset(target, fillByte, gap);
    std::memcpy(target + gap, second.data.constData(), second.size);
    return true;
}

// Copies the second segment into the first, over the bytes where the two overlap.
bool overlay(FileSegment& first, const FileSegment& second) {
    const std::uint32_t offset = second.address - first.address;
    if (endOf(second) > endOf(first) && !enlarge(first, qint64{endOf(second)} - first.address)) {
        return false;
    }
    // If the second segment passes the end of the address space, only its part inside the first segment is copied.
    std::memcpy(first.data.data() + offset, second.data.constData(), std::min(second.size, first.size - offset));
    return true;
}

std::size_t countSegments(const QList<FileData*>& files) {
    std::size_t count = 0;
    for (const FileData* const file : files) {
        count += file->segments.size();
    }
    return count;
}

bool anyClash(const QList<FileData*>& files, std::size_t segmentCount) {
    if (files.size() < 2) {
        return false;
    }
    std::vector<std::uint32_t> addresses;
    addresses.reserve(segmentCount);
    for (const FileData* const file : files) {
        for (const FileSegment& segment : file->segments) {
            addresses.push_back(segment.address);
        }
    }
    LaterRanges later(std::move(addresses));
    for (auto file = files.crbegin(); file != files.crend(); ++file) {
        for (const FileSegment& segment : (*file)->segments) {
            if (later.clashWith(segment.address, endOf(segment))) {
                return true;
            }
        }
        for (const FileSegment& segment : (*file)->segments) {
            later.add(segment.address, endOf(segment));
        }
    }
    return false;
}

}  // namespace

void sortSegments(FileData& file) {
    std::stable_sort(file.segments.begin(), file.segments.end(),
                     [](const FileSegment& a, const FileSegment& b) { return a.address < b.address; });
}

bool compactSegments(const FileLoadContext& context, FileData& file) {
    if (file.segments.size() < 2) {
        return false;
    }
    bool overlap = false;
    // The segments before `last` are done; `last` is joined with its successors as long as they are near.
    auto last = file.segments.begin();
    auto next = last + 1;
    for (; next != file.segments.end(); ++next) {
        const bool apart = next->address >= endOf(*last);
        const std::uint32_t gap = next->address - endOf(*last);
        if (apart && gap > maxBridgedGap) {
            ++last;
            if (last != next) {
                *last = std::move(*next);
            }
            continue;
        }
        overlap = overlap || !apart;
        if (!(apart ? join(*last, *next, gap, context.fillByte) : overlay(*last, *next))) {
            displayMessage(MessageKind::error, "Unable to allocate memory");
            overlap = true;
            break;
        }
        next->data = QByteArray();
    }
    // If memory ran out, the remaining segments stay as they are, after the joined ones.
    file.segments.erase(last + 1, next);
    file.segmentCount = static_cast<std::uint32_t>(file.segments.size());
    return overlap;
}

bool rangesOverlap(std::uint32_t address1, std::uint32_t end1, std::uint32_t address2, std::uint32_t end2) {
    if (address1 < address2) {
        return (end1 > address2 && end1 < end2) || end1 > end2;
    }
    if (address1 == address2) {
        return address1 < end2 || end1 > end2;
    }
    return address1 < end2 || (end1 > address2 && end1 < end2);
}

bool mergeFiles(FileLoadContext& context, const QList<FileData*>& files, FileData*& merged) {
    const std::size_t segmentCount = countSegments(files);
    if (!canAllocate(static_cast<qint64>(segmentCount) * qint64{sizeof(FileSegment) + bytesToCompare})) {
        return reportError("Out of memory");
    }
    if (anyClash(files, segmentCount)) {
        return reportError("Overlap between segments, Unable to merge files");
    }
    auto record = std::make_shared<FileData>();
    record->segments.reserve(segmentCount);
    for (const FileData* const file : files) {
        record->segments.insert(record->segments.end(), file->segments.begin(), file->segments.end());
    }
    record->segmentCount = static_cast<std::uint32_t>(record->segments.size());
    sortSegments(*record);
    merged = record.get();
    context.records.push_back(std::move(record));
    return true;
}
