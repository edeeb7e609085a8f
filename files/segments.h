#pragma once

#include "files/FileLoadContext.h"

#include <QList>

/// Sorts the segments by address, ascending; equal addresses keep their order.
void sortSegments(FileData& file);

/// Joins sorted neighbours whose gap is 31 bytes or less, and fills the gap with the context's fill byte. Where two
/// overlap, the bytes of the later one win. Addresses are 32-bit and wrap. Returns true if it found an overlap, or if
/// memory ran out and the fault has been reported.
[[nodiscard]] bool compactSegments(const FileLoadContext& context, FileData& file);

/// Whether the ranges [address1, end1) and [address2, end2) overlap by the rule for images: two ranges with the same
/// end are accepted if the first starts lower. An end is 32-bit and may have wrapped.
[[nodiscard]] bool rangesOverlap(std::uint32_t address1, std::uint32_t end1, std::uint32_t address2,
                                 std::uint32_t end2);

/// Makes one record of type 0 with the segments of all `files`, sorted by address, not joined; the buffers are shared
/// with the inputs. If segments of different files overlap, it reports an error and makes no record.
[[nodiscard]] bool mergeFiles(FileLoadContext& context, const QList<FileData*>& files, FileData*& merged);
