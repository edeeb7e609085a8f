#pragma once

#include "files/FileData.h"

#include <QByteArrayView>

#include <vector>

[[nodiscard]] QByteArrayView segmentBytes(const FileSegment& segment);

/// Checks that `size` bytes from `address` on end at 4 GiB or below. False, with a message, if they don't.
[[nodiscard]] bool fitsAddressSpace(std::uint32_t address, qsizetype size);

/// The segments of `file` that have bytes, sorted by address. Equal addresses keep their order. `file` may be null.
[[nodiscard]] std::vector<const FileSegment*> sortedSegments(const FileData* file);
