#pragma once

#include "Preparation/src/DCU/memoryCipher.h"

/// The memory cipher over whole images, on whatever this processor does fastest. The result is that of encryptGroup for
/// each group.

/// Encrypts the whole groups of `plain`; the first one lies at `address`, the others follow modulo 2 to the 32nd. `out`
/// is as long as `plain`, at another place; its bytes after the last whole group stay as they are.
void encryptGroups(std::uint32_t mode, MasterKey key, std::uint32_t address, std::span<const std::uint8_t> plain,
                   std::span<std::uint8_t> out);

/// The same by encryptGroup alone.
void encryptGroupsPortable(std::uint32_t mode, MasterKey key, std::uint32_t address,
                           std::span<const std::uint8_t> plain, std::span<std::uint8_t> out);

/// The same by vectors of 256 bits and AES instructions: AVX2 and AES-NI, or AVX2 and VAES. Only where the processor
/// has them.
void encryptGroupsVector(std::uint32_t mode, MasterKey key, std::uint32_t address, std::span<const std::uint8_t> plain,
                         std::span<std::uint8_t> out);
void encryptGroupsWideAes(std::uint32_t mode, MasterKey key, std::uint32_t address, std::span<const std::uint8_t> plain,
                          std::span<std::uint8_t> out);

using EncryptGroups = decltype(&encryptGroups);

/// The ways that this processor has, the fastest first; encryptGroupsPortable is always the last.
[[nodiscard]] std::span<const EncryptGroups> memoryCipherWays();
