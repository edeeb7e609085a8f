#pragma once

#include <QtGlobal>

/// The layout of a signed binary of the wireless chip: the binary, then the signature.
///
///     offset  size  field
///          0    24  as in the binary
///         24     4  size of the binary, little-endian
///         28     .  as in the binary
///       size   256  signature over SHA-256(the bytes above), with a 2048-bit RSA key
///
/// If the binary ends before or inside the size field, the signature takes the place of the field's bytes after the
/// binary's end.
namespace signedBinary {

inline constexpr qsizetype sizeOffset = 24;
inline constexpr qsizetype signatureSize = 256;

}  // namespace signedBinary
