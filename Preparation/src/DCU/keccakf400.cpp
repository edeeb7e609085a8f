#include "Preparation/src/DCU/keccakf400.h"

#include <bit>
#include <cassert>

namespace {

using Plane = std::array<std::uint16_t, 5>;

constexpr std::size_t next(std::size_t x) {
    return (x + 1) % 5;
}

constexpr std::size_t previous(std::size_t x) {
    return (x + 4) % 5;
}

void theta(KeccakF400State& state) {
    auto& a = state.lanes;
    Plane parity;
#pragma GCC unroll 5
    for (std::size_t x = 0; x < 5; ++x) {
        parity[x] = static_cast<std::uint16_t>(a[x] ^ a[x + 5] ^ a[x + 10] ^ a[x + 15] ^ a[x + 20]);
    }
#pragma GCC unroll 5
    for (std::size_t x = 0; x < 5; ++x) {
        const auto effect = static_cast<std::uint16_t>(parity[previous(x)] ^ std::rotl(parity[next(x)], 1));
#pragma GCC unroll 5
        for (std::size_t y = 0; y < 5; ++y) {
            a[x + 5 * y] ^= effect;
        }
    }
}

KeccakF400State rhoAndPi(const KeccakF400State& state) {
    KeccakF400State moved;
#pragma GCC unroll 5
    for (std::size_t y = 0; y < 5; ++y) {
#pragma GCC unroll 5
        for (std::size_t x = 0; x < 5; ++x) {
            const std::size_t lane = x + 5 * y;
            moved.lanes[y + 5 * ((2 * x + 3 * y) % 5)] = std::rotl(state.lanes[lane], keccakF400Rotations[lane]);
        }
    }
    return moved;
}

void chi(const KeccakF400State& before, KeccakF400State& state) {
#pragma GCC unroll 5
    for (std::size_t plane = 0; plane < 25; plane += 5) {
#pragma GCC unroll 5
        for (std::size_t x = 0; x < 5; ++x) {
            const std::uint16_t one = before.lanes[plane + next(x)];
            const std::uint16_t two = before.lanes[plane + next(next(x))];
            state.lanes[plane + x] = static_cast<std::uint16_t>(before.lanes[plane + x] ^ (~one & two));
        }
    }
}

}  // namespace

void keccakF400Round(KeccakF400State& state, std::size_t round) {
    theta(state);
    chi(rhoAndPi(state), state);
    state.lanes[0] ^= keccakF400RoundConstants[round];
}

void keccakF400Rounds(KeccakF400State& state, std::size_t first, std::size_t last) {
    for (std::size_t round = first; round <= last; ++round) {
        keccakF400Round(state, round);
    }
}

void keccakF400SetBytes(KeccakF400State& state, std::size_t offset, std::span<const std::uint8_t> bytes) {
    const std::size_t length = bytes.size();
    assert(offset < 50);
    assert(offset + length <= 50);
    for (std::size_t i = 0; i < length; ++i) {
        std::uint16_t& lane = state.lanes[(offset + i) / 2];
        const bool high = (offset + i) % 2 != 0;
        lane = static_cast<std::uint16_t>(high ? (lane & 0x00FF) | (bytes[i] << 8) : (lane & 0xFF00) | bytes[i]);
    }
}

void keccakF400GetBytes(const KeccakF400State& state, std::span<std::uint8_t> bytes) {
    const std::size_t byteCount = bytes.size();
    assert(byteCount <= 50);
    for (std::size_t i = 0; i < byteCount; ++i) {
        bytes[i] = static_cast<std::uint8_t>(state.lanes[i / 2] >> (8 * (i % 2)));
    }
}
