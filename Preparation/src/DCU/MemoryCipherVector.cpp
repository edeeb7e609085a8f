// The memory cipher on 256-bit vectors: a batch of 32 groups at a time.
//
// Key derivation. A vector holds one lane of the state for sixteen groups; one pass through the permutation derives all
// their keys. A batch takes two such passes, round by round in turn: the rounds of one fill the waits of the other. In
// normal mode the sixteen groups are those whose group numbers share all but the last nibble. Their common state comes
// from a vector as well, which holds the sixteen states behind the fifth nibble; only the state behind the first four
// nibbles is worked out alone, once in 8 KiB. A group thus costs a sixteenth of twelve rounds, where the definition
// takes 39. The last round makes only the sixteen lanes that are keys.
//
// Order. The groups stand in a vector in the order 0-3, 8-11, 4-7, 12-15: interleaving two lanes then gives 32-bit key
// words of the groups 0-7 and 8-15 in their natural order. Eight such groups are a set.
//
// Block ciphers. Noekeon stays word-sliced: a vector holds one word of eight blocks. The AES key schedule does so too,
// since a step backward is then three sums, one shuffle and the last-round instruction; each round key that it passes
// is put into block order and kept. The cipher itself runs on eight blocks at a time, to fill the AES units.
//
// Block keys and blocks are read backward by definition. For words that only means the last word first; for AES blocks
// it is one shuffle at loading and one at storing.

#include "Preparation/src/DCU/MemoryCipherFast.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <algorithm>
#include <cstring>

// Functions that run only behind the check for these instructions; the rest of the program is built for any processor.
#define VECTOR_CODE __attribute__((target("avx2,aes")))

namespace {

using Lanes = std::uint16_t __attribute__((vector_size(32)));
using Words = std::uint32_t __attribute__((vector_size(32)));

constexpr std::size_t vectorGroups = 16;
constexpr std::size_t batchGroups = 2 * vectorGroups;
constexpr std::size_t batchSize = batchGroups * memoryCipherGroupSize;
constexpr std::size_t setGroups = 8;
constexpr std::size_t setSize = setGroups * memoryCipherGroupSize;

// Which group stands at a place of a vector, and, the order being its own inverse, at which place a group stands.
constexpr Lanes order = {0, 1, 2, 3, 8, 9, 10, 11, 4, 5, 6, 7, 12, 13, 14, 15};

// The states of sixteen groups.
struct States {
    Lanes lanes[25];
};

// The lanes of sixteen groups that are their block keys.
struct KeyLanes {
    Lanes lanes[16];
};
using BatchKeys = KeyLanes[2];

// One word each of eight blocks or keys, in the words' order; or, transposed, two whole blocks each. Members rather
// than an array, so that the compiler keeps them in registers through loops.
struct WordVectors {
    Words w0, w1, w2, w3;
};

// The block keys of a set, by half of the group.
struct SetKeys {
    WordVectors halves[2];
};

VECTOR_CODE inline Lanes broadcast(std::uint16_t lane) {
    return Lanes{} + lane;
}

VECTOR_CODE inline Words words(__m256i vector) {
    return reinterpret_cast<Words>(vector);
}

VECTOR_CODE inline __m256i bits(Words vector) {
    return reinterpret_cast<__m256i>(vector);
}

VECTOR_CODE inline Words shuffleBytes(Words vector, __m128i pattern) {
    return words(_mm256_shuffle_epi8(bits(vector), _mm256_broadcastsi128_si256(pattern)));
}

VECTOR_CODE inline __m128i loadBlock(const std::uint8_t* image, std::size_t group, std::size_t half) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(image + (2 * group + half) * sizeof(__m128i)));
}

VECTOR_CODE inline void storeBlock(__m128i block, std::uint8_t* image, std::size_t group, std::size_t half) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(image + (2 * group + half) * sizeof(__m128i)), block);
}

// The permutation

template <int count>
VECTOR_CODE inline Lanes rotateLeft(Lanes lanes) {
    if constexpr (count == 0) {
        return lanes;
    } else if constexpr (count == 1) {
        return (lanes + lanes) | (lanes >> 15);
    } else {
        return (lanes << count) | (lanes >> (16 - count));
    }
}

// Theta, rho and pi for the lane that lands at (x, y).
template <std::size_t x, std::size_t y>
VECTOR_CODE inline Lanes moved(const States& in, const Lanes (&effect)[5]) {
    constexpr std::size_t column = (x + 3 * y) % 5;
    constexpr std::size_t source = column + 5 * x;
    return rotateLeft<keccakF400Rotations[source]>(in.lanes[source] ^ effect[column]);
}

template <std::size_t y>
VECTOR_CODE inline void makePlane(const States& in, const Lanes (&effect)[5], Lanes* out) {
    const Lanes b0 = moved<0, y>(in, effect);
    const Lanes b1 = moved<1, y>(in, effect);
    const Lanes b2 = moved<2, y>(in, effect);
    const Lanes b3 = moved<3, y>(in, effect);
    const Lanes b4 = moved<4, y>(in, effect);
    out[5 * y] = b0 ^ (~b1 & b2);
    out[5 * y + 1] = b1 ^ (~b2 & b3);
    out[5 * y + 2] = b2 ^ (~b3 & b4);
    out[5 * y + 3] = b3 ^ (~b4 & b0);
    out[5 * y + 4] = b4 ^ (~b0 & b1);
}

VECTOR_CODE inline void prepareTheta(const States& in, Lanes (&effect)[5]) {
    Lanes parity[5];
    for (std::size_t x = 0; x < 5; ++x) {
        parity[x] = in.lanes[x] ^ in.lanes[x + 5] ^ in.lanes[x + 10] ^ in.lanes[x + 15] ^ in.lanes[x + 20];
    }
    for (std::size_t x = 0; x < 5; ++x) {
        effect[x] = parity[(x + 4) % 5] ^ rotateLeft<1>(parity[(x + 1) % 5]);
    }
}

VECTOR_CODE void makeRound(const States& in, std::size_t round, States& out) {
    Lanes effect[5];
    prepareTheta(in, effect);
    makePlane<0>(in, effect, out.lanes);
    makePlane<1>(in, effect, out.lanes);
    makePlane<2>(in, effect, out.lanes);
    makePlane<3>(in, effect, out.lanes);
    makePlane<4>(in, effect, out.lanes);
    out.lanes[0] ^= broadcast(keccakF400RoundConstants[round]);
}

VECTOR_CODE void makeKeyRound(const States& in, std::size_t round, KeyLanes& out) {
    Lanes effect[5];
    prepareTheta(in, effect);
    makePlane<0>(in, effect, out.lanes);
    makePlane<1>(in, effect, out.lanes);
    makePlane<2>(in, effect, out.lanes);
    out.lanes[15] = moved<0, 3>(in, effect) ^ (~moved<1, 3>(in, effect) & moved<2, 3>(in, effect));
    out.lanes[0] ^= broadcast(keccakF400RoundConstants[round]);
}

// The rounds 0 to `last`.
VECTOR_CODE void makeKeys(const States (&start)[2], std::size_t last, BatchKeys& keys) {
    States states[2][2];
    makeRound(start[0], 0, states[0][0]);
    makeRound(start[1], 0, states[0][1]);
    std::size_t now = 0;
    for (std::size_t round = 1; round < last; ++round) {
        makeRound(states[now][0], round, states[1 - now][0]);
        makeRound(states[now][1], round, states[1 - now][1]);
        now = 1 - now;
    }
    makeKeyRound(states[now][0], last, keys[0]);
    makeKeyRound(states[now][1], last, keys[1]);
}

// Key derivation

// absorbAddressNibble with the nibble 0 to 15 for the group of that number, up to its rounds.
VECTOR_CODE void addAllNibbles(States& states) {
    states.lanes[0] ^= (order & 1) | ((order & 2) << 6);
    states.lanes[4] ^= (order & 4) << 9;
    states.lanes[14] ^= (order & 8) << 1;
}

VECTOR_CODE inline void broadcastStates(const KeccakF400State& state, States& states) {
    for (std::size_t i = 0; i < 25; ++i) {
        states.lanes[i] = broadcast(state.lanes[i]);
    }
}

// deriveKeysNormal for batches.
class NormalDerivation {
  public:
    explicit NormalDerivation(MasterKey key) { stack_[0] = startNormalDerivation(key); }

    // The keys of the batch of which the first group has the number batchGroups * `batch`.
    VECTOR_CODE void deriveBatch(std::uint32_t batch, BatchKeys& keys) {
        if (batch >> 3 != upperNibbles_) {
            enter(batch >> 3);
        }
        States start[2];
        for (std::size_t vector = 0; vector < 2; ++vector) {
            const std::size_t place = order[2 * (batch & 7) + vector];
            for (std::size_t i = 0; i < 25; ++i) {
                start[vector].lanes[i] = broadcast(fifth_.lanes[i][place]);
            }
            addAllNibbles(start[vector]);
        }
        makeKeys(start, 11, keys);
    }

  private:
    // Makes the sixteen states behind the fifth nibble. Of the stack, only what differs is made anew.
    VECTOR_CODE void enter(std::uint32_t upperNibbles) {
        for (std::uint32_t depth = 0; depth < 4; ++depth) {
            const std::uint32_t shift = 12 - 4 * depth;
            if ((upperNibbles ^ upperNibbles_) >> shift != 0) {
                stack_[depth + 1] = stack_[depth];
                absorbAddressNibble(stack_[depth + 1], upperNibbles >> shift & 0xF);
            }
        }
        upperNibbles_ = upperNibbles;
        States states;
        broadcastStates(stack_[4], states);
        addAllNibbles(states);
        makeRound(states, 0, fifth_);
        makeRound(fifth_, 1, states);
        makeRound(states, 2, fifth_);
    }

    KeccakF400State stack_[5];                 // behind the start and each of the first four nibbles
    std::uint32_t upperNibbles_ = 0xFFFFFFFF;  // those of the stack's top; at first, none that a number has
    States fifth_;
};

// Sixteen numbers in one vector: those of the groups 0-7 and 8-15.
VECTOR_CODE inline Lanes packLanes(Words low, Words high) {
    return reinterpret_cast<Lanes>(_mm256_packus_epi32(bits(low), bits(high)));
}

// deriveKeysFast for batches.
class FastDerivation {
  public:
    VECTOR_CODE explicit FastDerivation(MasterKey key) {
        KeccakF400State state;
        keccakF400SetBytes(state, 0, key);
        state.lanes[10] = 0x8000;
        broadcastStates(state, start_[0]);
        start_[1] = start_[0];
    }

    // The keys of the batch from `address` on.
    VECTOR_CODE void deriveBatch(std::uint32_t address, BatchKeys& keys) {
        Words low = Words{0, 32, 64, 96, 128, 160, 192, 224} + address;
        for (States& states : start_) {
            const Words high = low + setSize;
            states.lanes[8] = packLanes(low & 0xFFFF, high & 0xFFFF);
            states.lanes[9] = packLanes(low >> 16, high >> 16);
            low = high + setSize;
        }
        makeKeys(start_, 8, keys);
    }

  private:
    States start_[2];  // complete but for the address
};

// Block ciphers

// Words to blocks, or back: vector i gets the block at place i and the one at place i + 4.
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

// One key word of either set: its two lanes, interleaved.
VECTOR_CODE inline void takeKeyWord(const KeyLanes& keys, std::size_t lane, Words& set0, Words& set1) {
    const auto low = reinterpret_cast<__m256i>(keys.lanes[lane]);
    const auto high = reinterpret_cast<__m256i>(keys.lanes[lane + 1]);
    set0 = words(_mm256_unpacklo_epi16(low, high));
    set1 = words(_mm256_unpackhi_epi16(low, high));
}

VECTOR_CODE inline void takeKeys(const KeyLanes& keys, SetKeys (&sets)[2]) {
    for (std::size_t half = 0; half < 2; ++half) {
        WordVectors& set0 = sets[0].halves[half];
        WordVectors& set1 = sets[1].halves[half];
        takeKeyWord(keys, 8 * half + 6, set0.w0, set1.w0);
        takeKeyWord(keys, 8 * half + 4, set0.w1, set1.w1);
        takeKeyWord(keys, 8 * half + 2, set0.w2, set1.w2);
        takeKeyWord(keys, 8 * half, set0.w3, set1.w3);
    }
}

// The round keys of a set: by round, by half, and by group in the order that transpose gives.
struct alignas(32) SetRoundKeys {
    __m128i keys[11][2][setGroups];
};
constexpr std::size_t groupOfBlock[setGroups] = {0, 4, 1, 5, 2, 6, 3, 7};

// SubWord(RotWord(word)) for words as bytes in the order of AES. The shuffle rotates each word and puts its bytes where
// ShiftRows takes them from.
VECTOR_CODE inline Words scheduleCore(Words lastWords) {
    const __m256i moved =
        bits(shuffleBytes(lastWords, _mm_setr_epi8(1, 14, 11, 4, 5, 2, 15, 8, 9, 6, 3, 12, 13, 10, 7, 0)));
    const __m128i low = _mm_aesenclast_si128(_mm256_castsi256_si128(moved), _mm_setzero_si128());
    const __m128i high = _mm_aesenclast_si128(_mm256_extracti128_si256(moved, 1), _mm_setzero_si128());
    return words(_mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1));
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

VECTOR_CODE inline void stepBack(WordVectors& key, std::uint32_t constant) {
    key.w3 ^= key.w2;
    key.w2 ^= key.w1;
    key.w1 ^= key.w0;
    key.w0 ^= scheduleCore(key.w3) ^ constant;
}

VECTOR_CODE inline WordVectors lastRoundKey(const WordVectors& key) {
    return {swapBytes(key.w0), swapBytes(key.w1), swapBytes(key.w2), swapBytes(key.w3)};
}

// Both halves in turn, for the waits.
VECTOR_CODE void expandFromLast(const SetKeys& set, SetRoundKeys& roundKeys) {
    WordVectors first = lastRoundKey(set.halves[0]);
    WordVectors second = lastRoundKey(set.halves[1]);
    for (std::size_t round = 10; round > 0; --round) {
        keepRoundKeys(first, roundKeys.keys[round][0]);
        keepRoundKeys(second, roundKeys.keys[round][1]);
        stepBack(first, aesRoundConstants[round - 1]);
        stepBack(second, aesRoundConstants[round - 1]);
    }
    keepRoundKeys(first, roundKeys.keys[0][0]);
    keepRoundKeys(second, roundKeys.keys[0][1]);
}

VECTOR_CODE void encryptSetAes(const SetKeys& set, const std::uint8_t* plain, std::uint8_t* out) {
    SetRoundKeys roundKeys;
    expandFromLast(set, roundKeys);
    const __m128i reverse = _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
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

VECTOR_CODE inline Words loadTwo(const std::uint8_t* plain, std::size_t group, std::size_t half) {
    return words(_mm256_set_m128i(loadBlock(plain, group + 4, half), loadBlock(plain, group, half)));
}

VECTOR_CODE inline void storeTwo(Words blocks, std::uint8_t* out, std::size_t group, std::size_t half) {
    storeBlock(_mm256_castsi256_si128(bits(blocks)), out, group, half);
    storeBlock(_mm256_extracti128_si256(bits(blocks), 1), out, group + 4, half);
}

// Blocks read backward give the last word first.
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

VECTOR_CODE void encryptSetNoekeon(const SetKeys& set, const std::uint8_t* plain, std::uint8_t* out) {
    WordVectors first = loadWords(plain, 0);
    WordVectors second = loadWords(plain, 1);
    for (std::size_t round = 0; round < noekeonRoundCount; ++round) {
        noekeonRound(set.halves[0], noekeonRoundConstants[round], first);
        noekeonRound(set.halves[1], noekeonRoundConstants[round], second);
    }
    storeWords(first, out, 0);
    storeWords(second, out, 1);
}

// Whole images

VECTOR_CODE void encryptBatch(std::uint32_t mode, const BatchKeys& keys, const std::uint8_t* plain, std::uint8_t* out) {
    const bool aes = mode == memoryCipherBlockNormal || mode == memoryCipherBlockFast;
    for (const KeyLanes& vectorKeys : keys) {
        SetKeys sets[2];
        takeKeys(vectorKeys, sets);
        for (const SetKeys& set : sets) {
            (aes ? encryptSetAes : encryptSetNoekeon)(set, plain, out);
            plain += setSize;
            out += setSize;
        }
    }
}

// Encrypts `count` groups of a batch, from its group `first` on.
VECTOR_CODE void encryptPart(std::uint32_t mode, const BatchKeys& keys, std::size_t first, std::size_t count,
                             const std::uint8_t* plain, std::uint8_t* out) {
    std::uint8_t batch[batchSize] = {};
    std::uint8_t result[batchSize];
    std::memcpy(batch + first * memoryCipherGroupSize, plain, count * memoryCipherGroupSize);
    encryptBatch(mode, keys, batch, result);
    std::memcpy(out, result + first * memoryCipherGroupSize, count * memoryCipherGroupSize);
}

}  // namespace

VECTOR_CODE void encryptGroupsVector(std::uint32_t mode, MasterKey key, std::uint32_t address,
                                     std::span<const std::uint8_t> plain, std::span<std::uint8_t> out) {
    NormalDerivation normal(key);
    FastDerivation fast(key);
    BatchKeys keys;
    const std::size_t groups = plain.size() / memoryCipherGroupSize;
    for (std::size_t done = 0; done < groups;) {
        const std::size_t offset = done * memoryCipherGroupSize;
        const std::uint32_t groupAddress = address + static_cast<std::uint32_t>(offset);
        std::size_t first = 0;  // the group of the batch that lies at this offset
        if (mode == memoryCipherBlockFast) {
            fast.deriveBatch(groupAddress, keys);
        } else {
            const std::uint32_t number = memoryCipherGroupNumber(groupAddress);
            first = number % batchGroups;
            normal.deriveBatch(number / batchGroups, keys);
        }
        const std::size_t count = std::min(batchGroups - first, groups - done);
        if (count == batchGroups) {
            encryptBatch(mode, keys, plain.data() + offset, out.data() + offset);
        } else {
            encryptPart(mode, keys, first, count, plain.data() + offset, out.data() + offset);
        }
        done += count;
    }
}

#endif
