// The block ciphers of the memory cipher on 256-bit vectors, for one set of groups.

#if defined(__x86_64__)

#include "Preparation/src/DCU/memoryCipherVector.h"

// Marks functions that run only if the processor also has VAES. The functions that both AES implementations share are
// VECTOR_CODE. They get the one step that differs as a parameter, so they contain no VAES instruction.
#define WIDE_CODE __attribute__((target("avx2,aes,vaes")))

namespace {

VECTOR_CODE inline Words shuffleBytes(Words vector, __m128i pattern) {
    return words(_mm256_shuffle_epi8(bits(vector), _mm256_broadcastsi128_si256(pattern)));
}

VECTOR_CODE inline __m128i loadBlock(const std::uint8_t* image, std::size_t group, std::size_t half) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(image + (2 * group + half) * sizeof(__m128i)));
}

VECTOR_CODE inline void storeBlock(__m128i block, std::uint8_t* image, std::size_t group, std::size_t half) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(image + (2 * group + half) * sizeof(__m128i)), block);
}

VECTOR_CODE inline Words loadTwo(const std::uint8_t* plain, std::size_t group, std::size_t half) {
    return words(_mm256_set_m128i(loadBlock(plain, group + 4, half), loadBlock(plain, group, half)));
}

VECTOR_CODE inline void storeTwo(Words blocks, std::uint8_t* out, std::size_t group, std::size_t half) {
    storeBlock(_mm256_castsi256_si128(bits(blocks)), out, group, half);
    storeBlock(_mm256_extracti128_si256(bits(blocks), 1), out, group + 4, half);
}

// Converts words to blocks, or back. Vector i receives the blocks at positions i and i + 4.
VECTOR_CODE inline void transpose(WordVectors& v) {
    const __m256i low01 = _mm256_unpacklo_epi32(bits(v.w0), bits(v.w1));
    const __m256i low23 = _mm256_unpacklo_epi32(bits(v.w2), bits(v.w3));
    const __m256i high01 = _mm256_unpackhi_epi32(bits(v.w0), bits(v.w1));
    const __m256i high23 = _mm256_unpackhi_epi32(bits(v.w2), bits(v.w3));
    v.w0 = words(_mm256_unpacklo_epi64(low01, low23));
    v.w1 = words(_mm256_unpackhi_epi64(low01, low23));
    v.w2 = words(_mm256_unpacklo_epi64(high01, high23));
    v.w3 = words(_mm256_unpackhi_epi64(high01, high23));
}

// The round keys of a set, by round, half and group. The groups are in the order after transpose.
struct alignas(32) SetRoundKeys {
    __m128i keys[11][2][setGroups];

    VECTOR_CODE __m256i two(std::size_t round, std::size_t pair) const {
        return _mm256_load_si256(reinterpret_cast<const __m256i*>(&keys[round][pair / 4][2 * (pair % 4)]));
    }
};
constexpr std::size_t groupOfBlock[setGroups] = {0, 4, 1, 5, 2, 6, 3, 7};

// SubBytes and ShiftRows of two blocks. The last AES round with a key of zeros has the same result.
struct NarrowAes {
    VECTOR_CODE static __m256i substitute(__m256i blocks) {
        const __m128i low = _mm_aesenclast_si128(_mm256_castsi256_si128(blocks), _mm_setzero_si128());
        const __m128i high = _mm_aesenclast_si128(_mm256_extracti128_si256(blocks, 1), _mm_setzero_si128());
        return _mm256_set_m128i(high, low);
    }
};
struct WideAes {
    WIDE_CODE static __m256i substitute(__m256i blocks) {
        return _mm256_aesenclast_epi128(blocks, _mm256_setzero_si256());
    }
};

// SubWord(RotWord(word)) for words whose bytes are in AES order. The shuffle rotates each word and moves its bytes to
// the positions from which ShiftRows reads them.
template <class Aes>
VECTOR_CODE inline Words scheduleCore(Words lastWords) {
    return words(Aes::substitute(
        bits(shuffleBytes(lastWords, _mm_setr_epi8(1, 14, 11, 4, 5, 2, 15, 8, 9, 6, 3, 12, 13, 10, 7, 0)))));
}

VECTOR_CODE inline __m128i reversal() {
    return _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
}

VECTOR_CODE inline Words swapBytes(Words word) {
    return shuffleBytes(word, _mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
}

VECTOR_CODE inline void keepRoundKeys(WordVectors key, __m128i (&roundKeys)[setGroups]) {
    transpose(key);
    auto* const place = reinterpret_cast<__m256i*>(roundKeys);
    _mm256_store_si256(place, bits(key.w0));
    _mm256_store_si256(place + 1, bits(key.w1));
    _mm256_store_si256(place + 2, bits(key.w2));
    _mm256_store_si256(place + 3, bits(key.w3));
}

template <class Aes>
VECTOR_CODE inline void stepBack(WordVectors& key, std::uint32_t constant) {
    key.w3 ^= key.w2;
    key.w2 ^= key.w1;
    key.w1 ^= key.w0;
    key.w0 ^= scheduleCore<Aes>(key.w3) ^ constant;
}

VECTOR_CODE inline WordVectors lastRoundKey(const WordVectors& key) {
    return {swapBytes(key.w0), swapBytes(key.w1), swapBytes(key.w2), swapBytes(key.w3)};
}

// Expands the keys of both halves in alternation, so that each uses the wait cycles of the other.
template <class Aes>
VECTOR_CODE inline void expandFromLast(const SetKeys& set, SetRoundKeys& roundKeys) {
    WordVectors first = lastRoundKey(set.halves[0]);
    WordVectors second = lastRoundKey(set.halves[1]);
    for (std::size_t round = 10; round > 0; --round) {
        keepRoundKeys(first, roundKeys.keys[round][0]);
        keepRoundKeys(second, roundKeys.keys[round][1]);
        stepBack<Aes>(first, aesRoundConstants[round - 1]);
        stepBack<Aes>(second, aesRoundConstants[round - 1]);
    }
    keepRoundKeys(first, roundKeys.keys[0][0]);
    keepRoundKeys(second, roundKeys.keys[0][1]);
}

template <int count>
VECTOR_CODE inline Words rotateWords(Words word) {
    return (word << count) | (word >> (32 - count));
}

VECTOR_CODE inline Words spread(Words word) {
    const Words left8 = shuffleBytes(word, _mm_setr_epi8(3, 0, 1, 2, 7, 4, 5, 6, 11, 8, 9, 10, 15, 12, 13, 14));
    const Words right8 = shuffleBytes(word, _mm_setr_epi8(1, 2, 3, 0, 5, 6, 7, 4, 9, 10, 11, 8, 13, 14, 15, 12));
    return word ^ left8 ^ right8;
}

VECTOR_CODE inline void noekeonRound(const WordVectors& key, std::uint32_t constant, WordVectors& a) {
    a.w0 ^= constant;
    const Words even = spread(a.w0 ^ a.w2);
    a.w1 ^= even ^ key.w1;
    a.w3 ^= even ^ key.w3;
    const Words odd = spread(a.w1 ^ a.w3);
    a.w0 ^= odd ^ key.w0;
    a.w2 ^= odd ^ key.w2;
    a.w1 = rotateWords<1>(a.w1);
    a.w2 = rotateWords<5>(a.w2);
    a.w3 = rotateWords<2>(a.w3);
    a.w1 ^= ~(a.w3 | a.w2);
    const Words third = a.w0 ^ (a.w2 & a.w1);
    a.w0 = a.w3;
    a.w3 = third;
    a.w2 ^= a.w0 ^ a.w1 ^ a.w3;
    a.w1 ^= ~(a.w3 | a.w2);
    a.w0 ^= a.w2 & a.w1;
    a.w1 = rotateWords<31>(a.w1);
    a.w2 = rotateWords<27>(a.w2);
    a.w3 = rotateWords<30>(a.w3);
}

// Loads words. The bytes of the blocks are reversed, so the last word is first.
VECTOR_CODE inline WordVectors loadWords(const std::uint8_t* plain, std::size_t half) {
    WordVectors v = {loadTwo(plain, 0, half), loadTwo(plain, 1, half), loadTwo(plain, 2, half),
                     loadTwo(plain, 3, half)};
    transpose(v);
    return {v.w3, v.w2, v.w1, v.w0};
}

VECTOR_CODE inline void storeWords(const WordVectors& state, std::uint8_t* out, std::size_t half) {
    WordVectors v = {state.w3, state.w2, state.w1, state.w0};
    transpose(v);
    storeTwo(v.w0, out, 0, half);
    storeTwo(v.w1, out, 1, half);
    storeTwo(v.w2, out, 2, half);
    storeTwo(v.w3, out, 3, half);
}

}  // namespace

VECTOR_CODE void encryptSetAes(const SetKeys& keys, const std::uint8_t* plain, std::uint8_t* out) {
    SetRoundKeys roundKeys;
    expandFromLast<NarrowAes>(keys, roundKeys);
    const __m128i reverse = reversal();
    for (std::size_t half = 0; half < 2; ++half) {
        __m128i blocks[setGroups];
        for (std::size_t i = 0; i < setGroups; ++i) {
            const __m128i block = loadBlock(plain, groupOfBlock[i], half);
            blocks[i] = _mm_xor_si128(_mm_shuffle_epi8(block, reverse), roundKeys.keys[0][half][i]);
        }
        for (std::size_t round = 1; round < 10; ++round) {
            for (std::size_t i = 0; i < setGroups; ++i) {
                blocks[i] = _mm_aesenc_si128(blocks[i], roundKeys.keys[round][half][i]);
            }
        }
        for (std::size_t i = 0; i < setGroups; ++i) {
            const __m128i block = _mm_aesenclast_si128(blocks[i], roundKeys.keys[10][half][i]);
            storeBlock(_mm_shuffle_epi8(block, reverse), out, groupOfBlock[i], half);
        }
    }
}

__attribute__((flatten)) WIDE_CODE void encryptSetWideAes(const SetKeys& keys, const std::uint8_t* plain,
                                                          std::uint8_t* out) {
    SetRoundKeys roundKeys;
    expandFromLast<WideAes>(keys, roundKeys);
    __m256i blocks[setGroups];  // pairs of the groups' first halves, then pairs of their second halves
    for (std::size_t i = 0; i < setGroups; ++i) {
        const Words block = shuffleBytes(loadTwo(plain, i % 4, i / 4), reversal());
        blocks[i] = _mm256_xor_si256(bits(block), roundKeys.two(0, i));
    }
    for (std::size_t round = 1; round < 10; ++round) {
        for (std::size_t i = 0; i < setGroups; ++i) {
            blocks[i] = _mm256_aesenc_epi128(blocks[i], roundKeys.two(round, i));
        }
    }
    for (std::size_t i = 0; i < setGroups; ++i) {
        const Words block = words(_mm256_aesenclast_epi128(blocks[i], roundKeys.two(10, i)));
        storeTwo(shuffleBytes(block, reversal()), out, i % 4, i / 4);
    }
}

VECTOR_CODE void encryptSetNoekeon(const SetKeys& keys, const std::uint8_t* plain, std::uint8_t* out) {
    WordVectors first = loadWords(plain, 0);
    WordVectors second = loadWords(plain, 1);
    for (std::size_t round = 0; round < noekeonRoundCount; ++round) {
        noekeonRound(keys.halves[0], noekeonRoundConstants[round], first);
        noekeonRound(keys.halves[1], noekeonRoundConstants[round], second);
    }
    storeWords(first, out, 0);
    storeWords(second, out, 1);
}

#endif
