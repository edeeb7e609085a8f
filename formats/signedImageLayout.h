#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <cstdint>

/// The layout of the end of a signed image: the footer head, then the signature. All numbers except those of the
/// signature are little-endian.
///
///     offset  size  field
///          0     4  magic
///          4     4  image version
///          8     1  algorithm: 0, ECDSA on NIST prime256v1 with SHA-256
///          9     3  zero
///         12     4  length of the signed part
///         16    64  signature over SHA-256(signed part || the 16 bytes above): r, then s, big-endian
namespace signedFooter {

inline constexpr QByteArrayView magic = "VXSG";
inline constexpr std::uint8_t ecdsaP256Sha256 = 0;
inline constexpr qsizetype lengthOffset = 12;
inline constexpr qsizetype headSize = 16;

/// The footer head: the fields before the signature.
[[nodiscard]] QByteArray head(std::uint32_t version, std::uint8_t algorithm, std::uint32_t signedSize);

}  // namespace signedFooter
