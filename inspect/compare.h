#pragma once

#include "inspect/Report.h"

namespace inspect {

/// Bytes at an address, that somebody else owns.
struct PlacedBytes {
    std::uint64_t address = 0;
    QByteArrayView bytes;
};

struct ByteDifference {
    DifferenceCode code;     ///< bytesChanged, bytesOnlyInA or bytesOnlyInB
    std::uint64_t from = 0;  ///< the first address
    std::uint64_t to = 0;    ///< the last one
};

/// Every byte that is in one and not in the other, as ranges, by address. Both are sorted by address here; where pieces
/// of one side overlap, the first one's bytes count. Changed ranges are joined across up to seven equal bytes.
[[nodiscard]] std::vector<ByteDifference> compareBytes(std::vector<PlacedBytes> a, std::vector<PlacedBytes> b);

/// One side of a comparison: a file and its contents as far as they are authentic.
struct ComparedFile {
    QByteArrayView bytes;
    QByteArrayView second;  ///< of a pair
    const Description& description;
    const Contents& contents;  ///< of those parts that could be opened
};

/// What differs between two files. Without a difference that counts, or a content that couldn't be compared, all their
/// bytes are equal, or both files are proven and their contents and header fields are equal. Of HEX and S-Record files
/// the contents count.
[[nodiscard]] std::vector<Difference> compareFiles(const ComparedFile& a, const ComparedFile& b);

/// The status that the differences of two files come to.
[[nodiscard]] int statusOf(const std::vector<Difference>& differences);

/// Adds every byte of the files that differs, by offset.
void compareAsBytes(const ComparedFile& a, const ComparedFile& b, std::vector<Difference>& differences);

/// Whether both are equal but for the bytes of their signatures.
enum class SignatureComparison { equal, different, noSignature };
[[nodiscard]] SignatureComparison compareExceptSignature(const ComparedFile& a, const ComparedFile& b);

/// Turns byte differences of one part or source into differences that can be told. `sides` names A and B.
void addByteDifferences(const char* name, int part, const std::vector<ByteDifference>& ranges,
                        std::array<const char*, 2> sides, std::vector<Difference>& differences);

}  // namespace inspect
