// The memory cipher on 256-bit vectors. It encrypts a batch of 32 groups at a time.
//
// Key derivation: A vector contains one lane of the states of sixteen groups, so one pass through the permutation
// derives the keys of all sixteen. A batch needs two passes. Their rounds alternate, so that each pass uses the wait
// cycles of the other. In normal mode, the group numbers of the sixteen groups differ only in the last nibble, so the
// groups share one state after the fifth nibble. Sixteen such states are also computed as vectors. They share the state
// after the fourth nibble, which is computed alone, once for 8 KiB. A group therefore costs one sixteenth of twelve
// rounds; the reference needs 39 rounds. The last round computes only the sixteen lanes that are keys.
//
// Order: The groups in a vector have the order 0-3, 8-11, 4-7, 12-15. Interleaving two lanes then yields the 32-bit key
// words of the groups 0-7 and 8-15 in their natural order. Eight such groups are a set.
//
// Block ciphers: Noekeon stays word-sliced; a vector contains one word of eight blocks. The AES key schedule is
// word-sliced, too, because a backward step is then three sums, one shuffle and the last-round instruction. Each round
// key is converted to block order and stored. AES itself uses eight registers at a time to fill the AES units. The
// block ciphers are in memoryCipherVectorBlocks.cpp.
//
// The cipher reverses the bytes of block keys and blocks. For words, this only means that the last word is first. AES
// blocks need one shuffle when they are loaded and one when they are stored.

#include "Preparation/src/DCU/memoryCipherFast.h"

#if defined(__x86_64__)

#include "Preparation/src/DCU/memoryCipherVector.h"

#include <algorithm>
#include <cstring>

namespace {

using Lanes = std::uint16_t __attribute__((vector_size(32)));

constexpr std::size_t vectorGroups = 16;
constexpr std::size_t batchGroups = 2 * vectorGroups;
constexpr std::size_t batchSize = batchGroups * memoryCipherGroupSize;

// The number of the group at each position of a vector. The order is its own inverse, so the table also contains the
// position of each group.
constexpr Lanes order = {0, 1, 2, 3, 8, 9, 10, 11, 4, 5, 6, 7, 12, 13, 14, 15};

// The states of sixteen groups.
struct States {
    Lanes lanes[25];
};

// The lanes of sixteen groups that contain their block keys.
struct KeyLanes {
    Lanes lanes[16];
};
using BatchKeys = KeyLanes[2];

VECTOR_CODE inline Lanes broadcast(std::uint16_t lane) {
    return Lanes{} + lane;
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

// Theta, rho and pi for the lane that pi moves to (x, y).
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

// Runs the rounds 0 to `last`.
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

// Does the same as absorbAddressNibble without its rounds. Group n of the sixteen gets nibble n.
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

// Derives the same keys as deriveKeysNormal, for batches.
class NormalDerivation {
  public:
    explicit NormalDerivation(MasterKey key) { stack_[0] = startNormalDerivation(key); }

    // Derives the keys of the batch whose first group has the number batchGroups * `batch`.
    VECTOR_CODE void deriveBatch(std::uint32_t batch, BatchKeys& keys) {
        if (batch >> 3 != upperNibbles_) {
            enter(batch >> 3);
        }
        States start[2];
        for (std::size_t vector = 0; vector < 2; ++vector) {
            const std::size_t place = order[2 * std::size_t{batch & 7} + vector];
            for (std::size_t i = 0; i < 25; ++i) {
                start[vector].lanes[i] = broadcast(fifth_.lanes[i][place]);
            }
            addAllNibbles(start[vector]);
        }
        makeKeys(start, 11, keys);
    }

  private:
    // Computes the sixteen states after the fifth nibble. Only the changed part of the stack is computed again.
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

    KeccakF400State stack_[5];                 // the states after the start and after each of the first four nibbles
    std::uint32_t upperNibbles_ = 0xFFFFFFFF;  // the nibbles of the last state; initially an impossible value
    States fifth_;
};

// Packs the numbers of the groups 0-7 and 8-15 into one vector.
VECTOR_CODE inline Lanes packLanes(Words low, Words high) {
    return reinterpret_cast<Lanes>(_mm256_packus_epi32(bits(low), bits(high)));
}

// Derives the same keys as deriveKeysFast, for batches.
class FastDerivation {
  public:
    VECTOR_CODE explicit FastDerivation(MasterKey key) {
        KeccakF400State state;
        keccakF400SetBytes(state, 0, key);
        state.lanes[10] = 0x8000;
        broadcastStates(state, start_[0]);
        start_[1] = start_[0];
    }

    // Derives the keys of the batch that starts at `address`.
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
    States start_[2];  // complete except for the address
};

// Makes one key word of each set by interleaving its two lanes.
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

// Whole images

using SetCipher = void (*)(const SetKeys& keys, const std::uint8_t* plain, std::uint8_t* out);

VECTOR_CODE void encryptBatch(SetCipher encryptSet, const BatchKeys& keys, const std::uint8_t* plain,
                              std::uint8_t* out) {
    for (const KeyLanes& vectorKeys : keys) {
        SetKeys sets[2];
        takeKeys(vectorKeys, sets);
        for (const SetKeys& set : sets) {
            encryptSet(set, plain, out);
            plain += setSize;
            out += setSize;
        }
    }
}

// Encrypts `count` groups of a batch, starting with group `first`.
VECTOR_CODE void encryptPart(SetCipher encryptSet, const BatchKeys& keys, std::size_t first, std::size_t count,
                             const std::uint8_t* plain, std::uint8_t* out) {
    std::uint8_t batch[batchSize] = {};
    std::uint8_t result[batchSize];
    std::memcpy(batch + first * memoryCipherGroupSize, plain, count * memoryCipherGroupSize);
    encryptBatch(encryptSet, keys, batch, result);
    std::memcpy(out, result + first * memoryCipherGroupSize, count * memoryCipherGroupSize);
}

VECTOR_CODE void encryptImage(std::uint32_t mode, SetCipher aes, MasterKey key, std::uint32_t address,
                              std::span<const std::uint8_t> plain, std::span<std::uint8_t> out) {
    const bool fastMode = mode == memoryCipherBlockFast;
    const SetCipher encryptSet = fastMode || mode == memoryCipherBlockNormal ? aes : encryptSetNoekeon;
    NormalDerivation normal(key);
    FastDerivation fast(key);
    BatchKeys keys;
    const std::size_t groups = plain.size() / memoryCipherGroupSize;
    for (std::size_t done = 0; done < groups;) {
        const std::size_t offset = done * memoryCipherGroupSize;
        const std::uint32_t groupAddress = address + static_cast<std::uint32_t>(offset);
        std::size_t first = 0;  // number in the batch of the group at `offset`
        if (fastMode) {
            fast.deriveBatch(groupAddress, keys);
        } else {
            const std::uint32_t number = memoryCipherGroupNumber(groupAddress);
            first = number % batchGroups;
            normal.deriveBatch(number / batchGroups, keys);
        }
        const std::size_t count = std::min(batchGroups - first, groups - done);
        if (count == batchGroups) {
            encryptBatch(encryptSet, keys, plain.data() + offset, out.data() + offset);
        } else {
            encryptPart(encryptSet, keys, first, count, plain.data() + offset, out.data() + offset);
        }
        done += count;
    }
}

}  // namespace

void encryptGroupsVector(std::uint32_t mode, MasterKey key, std::uint32_t address, std::span<const std::uint8_t> plain,
                         std::span<std::uint8_t> out) {
    encryptImage(mode, encryptSetAes, key, address, plain, out);
}

void encryptGroupsWideAes(std::uint32_t mode, MasterKey key, std::uint32_t address, std::span<const std::uint8_t> plain,
                          std::span<std::uint8_t> out) {
    encryptImage(mode, encryptSetWideAes, key, address, plain, out);
}

#endif
