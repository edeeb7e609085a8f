#pragma once

#include "files/FileData.h"

#include <QByteArrayView>

#include <vector>

/// The bytes of a segment, not copied.
[[nodiscard]] QByteArrayView segmentBytes(const FileSegment& segment);

/// The segments of `file`, which may be null, that have bytes, by address; equal addresses keep their order.
[[nodiscard]] std::vector<const FileSegment*> sortedSegments(const FileData* file);
