#pragma once

#include "Preparation/src/DCU/memoryCipher.h"

/// The memory cipher for whole images. It uses the fastest implementation that this processor supports. The result is
/// the same as with encryptGroup for each group.

/// Encrypts the whole groups of `plain`. `address` is the address of the first one; addresses wrap at 2^32. `out` is as
/// long as `plain` and doesn't overlap it. Its bytes after the last whole group are unchanged.
void encryptGroups(std::uint32_t mode, MasterKey key, std::uint32_t address, std::span<const std::uint8_t> plain,
                   std::span<std::uint8_t> out);

/// Does the same by calling encryptGroup for each group.
void encryptGroupsPortable(std::uint32_t mode, MasterKey key, std::uint32_t address,
                           std::span<const std::uint8_t> plain, std::span<std::uint8_t> out);

/// Do the same with 256-bit vectors and AES instructions: AVX2 and AES-NI, or AVX2 and VAES. The processor must have
/// these instructions.
void encryptGroupsVector(std::uint32_t mode, MasterKey key, std::uint32_t address, std::span<const std::uint8_t> plain,
                         std::span<std::uint8_t> out);
void encryptGroupsWideAes(std::uint32_t mode, MasterKey key, std::uint32_t address, std::span<const std::uint8_t> plain,
                          std::span<std::uint8_t> out);

using EncryptGroups = decltype(&encryptGroups);

/// The implementations that run on this processor, the fastest first. encryptGroupsPortable is always the last.
[[nodiscard]] std::span<const EncryptGroups> memoryCipherWays();
