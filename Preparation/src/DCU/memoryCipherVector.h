#pragma once

// What the vector sources of the memory cipher share; memoryCipherVector.cpp tells the layout.

#include "Preparation/src/DCU/memoryCipher.h"

#include <immintrin.h>

// Functions that run only after the check for these instructions; the rest of the program is built for any processor.
#define VECTOR_CODE __attribute__((target("avx2,aes")))

using Words = std::uint32_t __attribute__((vector_size(32)));

inline constexpr std::size_t setGroups = 8;
inline constexpr std::size_t setSize = setGroups * memoryCipherGroupSize;

// One word each of eight blocks or keys, in the words' order; or, transposed, two whole blocks each. Members rather
// than an array, so that the compiler keeps them in registers through loops.
struct WordVectors {
    Words w0, w1, w2, w3;
};

// The block keys of a set, by half of the group.
struct SetKeys {
    WordVectors halves[2];
};

VECTOR_CODE inline Words words(__m256i vector) {
    return reinterpret_cast<Words>(vector);
}

VECTOR_CODE inline __m256i bits(Words vector) {
    return reinterpret_cast<__m256i>(vector);
}

/// Encrypts a set with the block cipher of the name: AES by 128-bit AES instructions, by 256-bit ones (VAES), and
/// Noekeon.
void encryptSetAes(const SetKeys& keys, const std::uint8_t* plain, std::uint8_t* out);
void encryptSetWideAes(const SetKeys& keys, const std::uint8_t* plain, std::uint8_t* out);
void encryptSetNoekeon(const SetKeys& keys, const std::uint8_t* plain, std::uint8_t* out);
