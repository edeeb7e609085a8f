#pragma once

// Declarations for the vector sources of the memory cipher. memoryCipherVector.cpp describes the layout.

#include "Preparation/src/DCU/memoryCipher.h"

#include <immintrin.h>

// Marks functions that run only after the check for these instructions. The rest of the program is built for any
// processor.
#define VECTOR_CODE __attribute__((target("avx2,aes")))

using Words = std::uint32_t __attribute__((vector_size(32)));

inline constexpr std::size_t setGroups = 8;
inline constexpr std::size_t setSize = setGroups * memoryCipherGroupSize;

// Four vectors, each with one word of eight blocks or keys. After transpose, each contains two whole blocks. They are
// members rather than an array, so that the compiler keeps them in registers in loops.
struct WordVectors {
    Words w0, w1, w2, w3;
};

// The block keys of a set, for each half of the groups.
struct SetKeys {
    WordVectors halves[2];
};

VECTOR_CODE inline Words words(__m256i vector) {
    return reinterpret_cast<Words>(vector);
}

VECTOR_CODE inline __m256i bits(Words vector) {
    return reinterpret_cast<__m256i>(vector);
}

/// Encrypt a set: with AES by 128-bit AES instructions, with AES by 256-bit ones (VAES), or with Noekeon.
void encryptSetAes(const SetKeys& keys, const std::uint8_t* plain, std::uint8_t* out);
void encryptSetWideAes(const SetKeys& keys, const std::uint8_t* plain, std::uint8_t* out);
void encryptSetNoekeon(const SetKeys& keys, const std::uint8_t* plain, std::uint8_t* out);
