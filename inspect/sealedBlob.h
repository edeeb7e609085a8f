#pragma once

#include "inspect/cipher.h"
#include "inspect/formats.h"

/// The common code of the formats that consist of a header and one encrypted content.
namespace inspect {

struct SealedBlob {
    QByteArrayView iv;
    std::array<QByteArrayView, 2> additional;
    QByteArrayView bytes;  ///< all bytes after the header; may be more or fewer than `size`
    std::uint32_t size;
    QByteArrayView tag;
    ContentKind kind;
};

/// Adds a finding and a range for `size` bytes after the end of the format; adds nothing if `size` is 0.
void addBytesAfterEnd(qint64 size, Description& description);

/// Adds `part` as part 1, with the bytes that the file contains, and a finding for bytes after it.
void addBlob(Part part, QByteArrayView bytes, std::uint32_t size, Description& description);

/// Decrypts and authenticates the blob that is part 1 of `description`.
void proveBlob(const SealedBlob& blob, const Evidence& evidence, Description& description, Contents* contents);

}  // namespace inspect
