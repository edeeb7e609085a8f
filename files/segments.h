#pragma once

#include "files/FileLoadContext.h"

#include <QList>

/// Sorts the segments by address, ascending; equal addresses keep their order.
void sortSegments(FileData& file);

/// Joins sorted neighbours whose gap is 31 bytes or less, filling the gap with the context's fill byte. Where two
/// overlap, the later one's bytes win. Addresses are 32-bit and wrap. True if any overlap was met.
[[nodiscard]] bool compactSegments(const FileLoadContext& context, FileData& file);

/// Whether the ranges [address1, end1) and [address2, end2) clash, in the form that images are checked with: two
/// ranges that end on the same address pass if the first starts lower. `end` is 32-bit and may have wrapped.
[[nodiscard]] bool rangesOverlap(std::uint32_t address1, std::uint32_t end1, std::uint32_t address2,
                                 std::uint32_t end2);

/// Makes one record of type 0 with the segments of all `files`, sorted by address, not joined; the buffers are
/// shared with the inputs. Segments of different files that overlap are an error, and nothing is made.
[[nodiscard]] bool mergeFiles(FileLoadContext& context, const QList<FileData*>& files, FileData*& merged);
