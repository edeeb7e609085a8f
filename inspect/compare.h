#pragma once

#include "inspect/Report.h"

namespace inspect {

/// Bytes at an address; the caller owns them.
struct PlacedBytes {
    std::uint64_t address = 0;
    QByteArrayView bytes;
};

/// Returns every byte that differs or is only on one side, as ranges sorted by address. The function sorts both sides
/// by address. If pieces of one side overlap, the bytes of the first piece count. Changed ranges are joined across up
/// to seven equal bytes.
[[nodiscard]] std::vector<ByteDifference> compareBytes(std::vector<PlacedBytes> a, std::vector<PlacedBytes> b);

/// One side of a comparison: a file and its contents as far as they are authentic.
struct ComparedFile {
    QByteArrayView bytes;
    QByteArrayView second;  ///< the second file of a pair
    const Description& description;
    const Contents& contents;  ///< of the parts that could be opened
};

/// Returns the differences between two files. Files of different formats are compared by `summary`, if both have
/// memory; otherwise as bytes. If `statusOf` reports no difference, either all bytes of the files are equal, or both
/// files are proven and their contents and header fields are equal. For HEX and S-Record files only the contents count.
[[nodiscard]] std::vector<Difference> compareFiles(const ComparedFile& a, const ComparedFile& b,
                                                   const Summary& summary);

/// The status for the differences of two files.
[[nodiscard]] int statusOf(const std::vector<Difference>& differences);

/// Adds every byte of the files that differs, sorted by offset.
void compareAsBytes(const ComparedFile& a, const ComparedFile& b, std::vector<Difference>& differences);

/// Whether both files are equal except for the bytes of their signatures.
enum class SignatureComparison { equal, different, noSignature };
[[nodiscard]] SignatureComparison compareExceptSignature(const ComparedFile& a, const ComparedFile& b);

/// Converts the byte differences of one part or source to differences of the report. `sides` contains the names of A
/// and B.
void addByteDifferences(const char* name, int part, const std::vector<ByteDifference>& ranges,
                        std::array<const char*, 2> sides, std::vector<Difference>& differences);

}  // namespace inspect
