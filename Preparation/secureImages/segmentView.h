#pragma once

#include "files/FileData.h"

#include <QByteArrayView>

#include <vector>

/// The bytes of a segment, not copied.
[[nodiscard]] QByteArrayView segmentBytes(const FileSegment& segment);

/// Whether `size` bytes from `address` on end at 4 GiB or below. False, with a message, if they don't.
[[nodiscard]] bool fitsAddressSpace(std::uint32_t address, qsizetype size);

/// The segments of `file`, which may be null, that have bytes, by address; equal addresses keep their order.
[[nodiscard]] std::vector<const FileSegment*> sortedSegments(const FileData* file);
