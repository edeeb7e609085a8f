#pragma once

#include <QByteArray>

#include <cstdint>

namespace inspect {

/// Size of the groups that a memory cipher works on.
inline constexpr qsizetype memoryGroupSize = 32;

/// Decrypts the whole groups of `image`, which starts at `address`, as a device's memory cipher would on reading. `key`
/// has 16 bytes. Modes: 0 block normal, 1 block fast, any other Noekeon. Empty if that can't be done; the caller wipes
/// the result.
[[nodiscard]] QByteArray decryptMemory(QByteArrayView image, QByteArrayView key, std::uint32_t address,
                                       std::uint32_t mode);

}  // namespace inspect
