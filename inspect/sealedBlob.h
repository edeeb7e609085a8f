#pragma once

#include "inspect/cipher.h"
#include "inspect/formats.h"

/// What the formats share that are a header and one encrypted content.
namespace inspect {

struct SealedBlob {
    QByteArrayView iv;
    std::array<QByteArrayView, 2> additional;
    QByteArrayView bytes;  ///< all that is there, more or less than `size`
    std::uint32_t size;
    QByteArrayView tag;
    ContentKind kind;
};

[[nodiscard]] bool isZero(QByteArrayView bytes);

/// The one range and finding of a file that ends inside its header.
void addCutHeader(qint64 present, qint64 wanted, Description& description);

/// `size` bytes behind the end of what the format describes; nothing if that is 0.
void addBytesBehind(qint64 size, Description& description);

/// Adds `part` as part 1, its bytes as far as they are there, and whatever is behind them.
void addBlob(Part part, QByteArrayView bytes, std::uint32_t size, Description& description);

/// Opens the blob that is part 1 of `description`.
void proveBlob(const SealedBlob& blob, const Evidence& evidence, Description& description, Contents* contents);

}  // namespace inspect
