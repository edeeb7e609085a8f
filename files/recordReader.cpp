#include "display/Display.h"
#include "files/largePages.h"
#include "files/readExactly.h"
#include "files/recordFiles.h"
#include "files/recordParser.h"
#include "files/segments.h"

#include <algorithm>
#include <cstring>

namespace {

/// Makes room for the next segment, because beginSegment can't report a failure.
bool makeRoomForNext(std::vector<FileSegment>& segments) {
    if (segments.size() < segments.capacity()) {
        return true;
    }
    const std::size_t capacity = 2 * segments.capacity() + 1;
    if (!canAllocate(static_cast<qint64>(capacity) * qint64{sizeof(FileSegment)})) {
        return false;
    }
    segments.reserve(capacity);
    return true;
}

void beginSegment(FileData& file, std::uint32_t address) {
    file.segments.push_back({address, 0, {}});
}

// While a segment is open, its array may be larger than `segment.size`. The bytes after that size are neither filled
// nor read.
bool addData(FileData& file, const RecordBlock& current) {
    if (!makeRoomForNext(file.segments)) {
        return reportError("Unable to allocate memory");
    }
    FileSegment& segment = file.segments.back();
    const qint64 size = qint64{segment.size} + current.bytes.size();
    if (size > segment.data.size()) {
        const qint64 grown = std::max<qint64>(size, segment.data.size() * 2);
        if (!memoryAvailable(size) || !canAllocate(grown)) {
            return reportError("Unable to allocate memory");
        }
        segment.data.reserve(grown);  // allocates just this size; resize() alone would allocate more
        segment.data.resize(grown);
        preferLargePages(segment.data);
    }
    std::memcpy(segment.data.data() + segment.size, current.bytes.data(),
                static_cast<std::size_t>(current.bytes.size()));
    segment.size = static_cast<std::uint32_t>(size);
    return true;
}

void endSegment(FileData& file) {
    FileSegment& segment = file.segments.back();
    segment.data.resize(segment.size);
    ++file.segmentCount;
}

void reportParseError(FileData& file, int lineNumber, const char* text) {
    displayMessage(MessageKind::error, "\nParsing fail");
    displayMessage(MessageKind::error, "In line %d :", lineNumber);
    displayMessage(MessageKind::error, "%s", text);
    file.segments.clear();
    file.segmentCount = 0;
}

}  // namespace

bool readRecordFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record) {
    auto file = std::make_shared<FileData>();
    const bool namedHex = device.fileName().endsWith(QLatin1String(".hex"), Qt::CaseInsensitive);
    file->fileType = namedHex ? fileTypeHex : fileTypeSrec;
    if (!parseRecords(device, {file.get(), beginSegment, addData, endSegment, reportParseError, sortSegments})) {
        return false;
    }
    if (file->segmentCount == 0) {
        return reportError("The file %s is invalid", qUtf8Printable(device.fileName()));
    }
    if (compactSegments(context, *file)) {
        displayMessage(MessageKind::warning,
                       "File corrupted. Two or more segments define the same memory zone or wrong order of segments");
    }
    record = std::move(file);
    return true;
}
