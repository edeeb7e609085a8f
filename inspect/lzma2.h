#pragma once

#include <QByteArray>
#include <QByteArrayView>

namespace inspect {

/// Unpacks a raw LZMA2 stream, as the format .xz contains it (xz-file-format, 5.3.1), up to its end mark. Returns false
/// if the stream is broken, has bytes after its end mark, or has more than `limit` plain bytes. A distance may reach
/// back to the last reset of the dictionary, whatever its size.
[[nodiscard]] bool unpackLzma2(QByteArrayView packed, qsizetype limit, QByteArray& plain);

/// Makes the branches of ARM Thumb code relative again, which a packer made absolute because that packs better
/// (the BCJ filter of the same format, 5.3.2).
void restoreThumbBranches(QByteArray& code);

}  // namespace inspect
