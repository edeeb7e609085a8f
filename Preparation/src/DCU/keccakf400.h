#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// The state of the permutation: 25 lanes of 16 bits. Lane (x, y) is at index x + 5 * y. The state has 50 bytes; the
/// low byte of each lane is first.
struct KeccakF400State {
    std::array<std::uint16_t, 25> lanes{};
};

/// Left rotations of the step rho by lane index: the offsets of Keccak, modulo 16.
inline constexpr std::array<int, 25> keccakF400Rotations = {
    0, 1, 14, 12, 11, 4, 12, 6, 7, 4, 3, 10, 11, 9, 7, 9, 13, 15, 5, 8, 2, 2, 13, 8, 14,
};

/// Constants of the step iota by round index: those of Keccak, truncated to 16 bits.
inline constexpr std::array<std::uint16_t, 20> keccakF400RoundConstants = {
    0x0001, 0x8082, 0x808A, 0x8000, 0x808B, 0x0001, 0x8081, 0x8009, 0x008A, 0x0088,
    0x8009, 0x000A, 0x808B, 0x008B, 0x8089, 0x8003, 0x8002, 0x0080, 0x800A, 0x000A,
};

/// Runs one round of Keccak-f[400] (FIPS 202, section 3.2: theta, rho, pi, chi, iota) with the constant of index
/// `round`, 0 to 19.
void keccakF400Round(KeccakF400State& state, std::size_t round);

/// Runs the rounds `first` to `last`, both included.
void keccakF400Rounds(KeccakF400State& state, std::size_t first, std::size_t last);

/// Sets state bytes from `offset` on. The caller ensures that they are inside the 50 bytes.
void keccakF400SetBytes(KeccakF400State& state, std::size_t offset, std::span<const std::uint8_t> bytes);

/// Copies the first bytes of the state to `bytes`, which has at most 50 bytes.
void keccakF400GetBytes(const KeccakF400State& state, std::span<std::uint8_t> bytes);
