#pragma once

#include "Preparation/src/DCU/keccakf400.h"

#include <array>
#include <cstdint>
#include <span>

/// The encryption of the external-memory cipher engine, one group at a time, in plain C++. It is the reference for the
/// faster implementations.
///
/// Memory is encrypted in groups of 32 bytes. Each group has two 128-bit block keys, derived from the master key and
/// the group's address. Each 16-byte half is encrypted separately under its own block key.

/// The key derivation and the block cipher. Any other number counts as memoryCipherNoekeon.
enum MemoryCipherMode : std::uint32_t {
    memoryCipherBlockNormal = 0,  ///< deriveKeysNormal, AES
    memoryCipherBlockFast = 1,    ///< deriveKeysFast, AES
    memoryCipherNoekeon = 2,      ///< deriveKeysNormal, Noekeon
};

inline constexpr std::size_t memoryCipherGroupSize = 32;

using CipherBlock = std::array<std::uint8_t, 16>;

/// The block keys of a group: first the key of the first half, then the key of the second half.
using DerivedKeys = std::array<std::uint8_t, 32>;

using MasterKey = std::span<const std::uint8_t, 16>;

/// The block keys of the group at `address`. All bits of the address are used.
[[nodiscard]] DerivedKeys deriveKeysFast(MasterKey key, std::uint32_t address);

/// The block keys of the group at `address`. Only bits 5 to 28 of the address are used.
[[nodiscard]] DerivedKeys deriveKeysNormal(MasterKey key, std::uint32_t address);

/// The block keys by the key derivation of `mode`.
[[nodiscard]] DerivedKeys deriveKeys(std::uint32_t mode, MasterKey key, std::uint32_t address);

/// AES-128 (FIPS 197) with the bytes of the block and of the block key reversed. The block key is the last round key.
[[nodiscard]] CipherBlock aesEncryptLastRoundKey(const CipherBlock& blockKey, const CipherBlock& in);

/// Twelve rounds of Noekeon in direct-key mode, without the closing transformation, with the bytes of key and block
/// reversed.
[[nodiscard]] CipherBlock noekeonEncrypt12(const CipherBlock& blockKey, const CipherBlock& in);

/// Encrypts one group. `plain` and `out` may be the same bytes.
void encryptGroup(std::uint32_t mode, MasterKey key, std::uint32_t address,
                  std::span<const std::uint8_t, memoryCipherGroupSize> plain,
                  std::span<std::uint8_t, memoryCipherGroupSize> out);

/// The three parts of deriveKeysNormal, for callers that derive many keys. The start depends only on the master key.
/// The second part absorbs one of the six nibbles of memoryCipherGroupNumber; callers begin with the highest nibble.
/// The end returns the block keys.
[[nodiscard]] KeccakF400State startNormalDerivation(MasterKey key);
void absorbAddressNibble(KeccakF400State& state, std::uint32_t nibble);
[[nodiscard]] DerivedKeys finishNormalDerivation(KeccakF400State state);

/// The 24 bits of an address that deriveKeysNormal uses.
[[nodiscard]] constexpr std::uint32_t memoryCipherGroupNumber(std::uint32_t address) {
    return (address >> 5) & 0xFFFFFF;
}

/// The constants of the AES key schedule (FIPS 197, section 5.2), in the order of its steps.
inline constexpr std::array<std::uint8_t, 10> aesRoundConstants = {
    0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80, 0x1B, 0x36,
};

inline constexpr std::size_t noekeonRoundCount = 12;

/// Words of a Noekeon key or block, word 0 first.
using NoekeonWords = std::array<std::uint32_t, 4>;

/// Noekeon's round constants. The published cipher uses the last one in its closing transformation.
inline constexpr std::array<std::uint8_t, 17> noekeonRoundConstants = {
    0x80, 0x1B, 0x36, 0x6C, 0xD8, 0xAB, 0x4D, 0x9A, 0x2F, 0x5E, 0xBC, 0x63, 0xC6, 0x97, 0x35, 0x6A, 0xD4,
};

/// Noekeon's linear step.
void noekeonTheta(const NoekeonWords& key, NoekeonWords& state);

/// The first `count` rounds of Noekeon.
void noekeonRounds(const NoekeonWords& key, NoekeonWords& state, std::size_t count);
