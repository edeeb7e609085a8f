#pragma once

#include <QByteArray>

#include <cstdint>

namespace inspect {

/// The size of a group of the memory cipher, in bytes.
inline constexpr qsizetype memoryGroupSize = 32;

/// Decrypts the whole groups of `image`, which starts at `address`, as a device's memory cipher does on reading. `key`
/// has 16 bytes. Mode 0 is block normal, 1 is block fast, any other is Noekeon. Returns an empty array if decryption
/// isn't possible. The caller wipes the result.
[[nodiscard]] QByteArray decryptMemory(QByteArrayView image, QByteArrayView key, std::uint32_t address,
                                       std::uint32_t mode);

}  // namespace inspect
