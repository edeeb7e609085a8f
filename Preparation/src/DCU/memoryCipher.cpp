#include "Preparation/src/DCU/memoryCipher.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace {

// Multiplication by x in the field of AES and of Noekeon's constants.
constexpr std::uint8_t doubled(std::uint8_t value) {
    return static_cast<std::uint8_t>((value << 1) ^ ((value >> 7) * 0x1B));
}

// Makes the S-box of FIPS 197, section 5.1.1: the inverse in the field, then the affine map. Powers of the generator 3
// run through all non-zero values while powers of its inverse 0xF6 run through their inverses.
constexpr std::array<std::uint8_t, 256> makeSBox() {
    std::array<std::uint8_t, 256> box{};
    std::uint8_t value = 1;
    std::uint8_t inverse = 1;
    do {
        value = static_cast<std::uint8_t>(value ^ doubled(value));
        for (const int shift : {1, 2, 4}) {
            inverse = static_cast<std::uint8_t>(inverse ^ (inverse << shift));
        }
        inverse = static_cast<std::uint8_t>(inverse ^ ((inverse >> 7) * 0x09));
        box[value] = static_cast<std::uint8_t>(inverse ^ std::rotl(inverse, 1) ^ std::rotl(inverse, 2) ^
                                               std::rotl(inverse, 3) ^ std::rotl(inverse, 4) ^ 0x63);
    } while (value != 1);
    box[0] = 0x63;
    return box;
}

constexpr std::array<std::uint8_t, 256> sBox = makeSBox();

using RoundKeys = std::array<CipherBlock, 11>;

CipherBlock reversed(const CipherBlock& block) {
    CipherBlock result;
    std::reverse_copy(block.begin(), block.end(), result.begin());
    return result;
}

void addTo(CipherBlock& state, const CipherBlock& key) {
    for (std::size_t i = 0; i < state.size(); ++i) {
        state[i] ^= key[i];
    }
}

// Inverts the key expansion of FIPS 197, section 5.2. Each step computes the previous round key, until all eleven are
// known. A step undoes the word sums, then removes SubWord(RotWord(last word)) and the round constant from the first
// word.
RoundKeys expandFromLast(const CipherBlock& lastRoundKey) {
    RoundKeys keys;
    keys[10] = lastRoundKey;
    for (std::size_t round = 10; round > 0; --round) {
        CipherBlock key = keys[round];
        for (std::size_t i = 15; i >= 4; --i) {
            key[i] ^= key[i - 4];
        }
        for (std::size_t i = 0; i < 4; ++i) {
            key[i] ^= sBox[key[12 + (i + 1) % 4]];
        }
        key[0] ^= aesRoundConstants[round - 1];
        keys[round - 1] = key;
    }
    return keys;
}

// SubBytes and ShiftRows. The state is stored column by column.
CipherBlock substituteAndShiftRows(const CipherBlock& state) {
    CipherBlock result;
    for (std::size_t i = 0; i < result.size(); ++i) {
        result[i] = sBox[state[(i + 4 * (i % 4)) % 16]];
    }
    return result;
}

void mixColumns(CipherBlock& state) {
    for (std::size_t column = 0; column < state.size(); column += 4) {
        std::uint8_t* const s = &state[column];
        const std::uint8_t first = s[0];
        const auto all = static_cast<std::uint8_t>(s[0] ^ s[1] ^ s[2] ^ s[3]);
        for (std::size_t row = 0; row < 4; ++row) {
            const std::uint8_t next = row < 3 ? s[row + 1] : first;
            s[row] ^= static_cast<std::uint8_t>(all ^ doubled(static_cast<std::uint8_t>(s[row] ^ next)));
        }
    }
}

CipherBlock aesEncrypt(const RoundKeys& keys, CipherBlock state) {
    addTo(state, keys[0]);
    for (std::size_t round = 1; round < 10; ++round) {
        state = substituteAndShiftRows(state);
        mixColumns(state);
        addTo(state, keys[round]);
    }
    state = substituteAndShiftRows(state);
    addTo(state, keys[10]);
    return state;
}

void noekeonGamma(NoekeonWords& a) {
    a[1] ^= ~a[3] & ~a[2];
    a[0] ^= a[2] & a[1];
    std::swap(a[0], a[3]);
    a[2] ^= a[0] ^ a[1] ^ a[3];
    a[1] ^= ~a[3] & ~a[2];
    a[0] ^= a[2] & a[1];
}

// The big-endian words of the reversed bytes. These are the little-endian words of the bytes, the last one first.
NoekeonWords wordsBackward(const CipherBlock& bytes) {
    NoekeonWords words{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        words[3 - i / 4] |= std::uint32_t{bytes[i]} << (8 * (i % 4));
    }
    return words;
}

CipherBlock bytesBackward(const NoekeonWords& words) {
    CipherBlock bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(words[3 - i / 4] >> (8 * (i % 4)));
    }
    return bytes;
}

DerivedKeys derivedKeysOf(const KeccakF400State& state) {
    DerivedKeys keys;
    keccakF400GetBytes(state, keys);
    return keys;
}

template <class Bytes>
CipherBlock half(const Bytes& bytes, std::size_t index) {
    CipherBlock block;
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(index * block.size()), block.size(), block.begin());
    return block;
}

}  // namespace

DerivedKeys deriveKeysFast(MasterKey key, std::uint32_t address) {
    KeccakF400State state;
    keccakF400SetBytes(state, 0, key);
    state.lanes[8] = static_cast<std::uint16_t>(address & 0xFFFF);
    state.lanes[9] = static_cast<std::uint16_t>(address >> 16);
    state.lanes[10] = 0x8000;
    keccakF400Rounds(state, 0, 8);
    return derivedKeysOf(state);
}

KeccakF400State startNormalDerivation(MasterKey key) {
    KeccakF400State state;
    keccakF400SetBytes(state, 0, key);
    state.lanes[10] = 0x8001;
    keccakF400Rounds(state, 0, 11);
    return state;
}

void absorbAddressNibble(KeccakF400State& state, std::uint32_t nibble) {
    state.lanes[0] ^= static_cast<std::uint16_t>((nibble & 1) | ((nibble >> 1 & 1) << 7));
    state.lanes[4] ^= static_cast<std::uint16_t>((nibble >> 2 & 1) << 11);
    state.lanes[14] ^= static_cast<std::uint16_t>((nibble >> 3 & 1) << 4);
    keccakF400Rounds(state, 0, 2);
}

DerivedKeys finishNormalDerivation(KeccakF400State state) {
    keccakF400Rounds(state, 3, 11);
    return derivedKeysOf(state);
}

DerivedKeys deriveKeysNormal(MasterKey key, std::uint32_t address) {
    KeccakF400State state = startNormalDerivation(key);
    const std::uint32_t number = memoryCipherGroupNumber(address);
    for (int shift = 20; shift >= 0; shift -= 4) {
        absorbAddressNibble(state, number >> shift & 0xF);
    }
    return finishNormalDerivation(state);
}

DerivedKeys deriveKeys(std::uint32_t mode, MasterKey key, std::uint32_t address) {
    return mode == memoryCipherBlockFast ? deriveKeysFast(key, address) : deriveKeysNormal(key, address);
}

CipherBlock aesEncryptLastRoundKey(const CipherBlock& blockKey, const CipherBlock& in) {
    return reversed(aesEncrypt(expandFromLast(reversed(blockKey)), reversed(in)));
}

void noekeonTheta(const NoekeonWords& key, NoekeonWords& state) {
    const auto spread = [](std::uint32_t word) { return word ^ std::rotr(word, 8) ^ std::rotl(word, 8); };
    const std::uint32_t even = spread(state[0] ^ state[2]);
    state[1] ^= even;
    state[3] ^= even;
    for (std::size_t i = 0; i < state.size(); ++i) {
        state[i] ^= key[i];
    }
    const std::uint32_t odd = spread(state[1] ^ state[3]);
    state[0] ^= odd;
    state[2] ^= odd;
}

void noekeonRounds(const NoekeonWords& key, NoekeonWords& state, std::size_t count) {
    for (std::size_t round = 0; round < count; ++round) {
        state[0] ^= noekeonRoundConstants[round];
        noekeonTheta(key, state);
        state[1] = std::rotl(state[1], 1);
        state[2] = std::rotl(state[2], 5);
        state[3] = std::rotl(state[3], 2);
        noekeonGamma(state);
        state[1] = std::rotr(state[1], 1);
        state[2] = std::rotr(state[2], 5);
        state[3] = std::rotr(state[3], 2);
    }
}

CipherBlock noekeonEncrypt12(const CipherBlock& blockKey, const CipherBlock& in) {
    NoekeonWords state = wordsBackward(in);
    noekeonRounds(wordsBackward(blockKey), state, noekeonRoundCount);
    return bytesBackward(state);
}

void encryptGroup(std::uint32_t mode, MasterKey key, std::uint32_t address,
                  std::span<const std::uint8_t, memoryCipherGroupSize> plain,
                  std::span<std::uint8_t, memoryCipherGroupSize> out) {
    const DerivedKeys keys = deriveKeys(mode, key, address);
    const bool aes = mode == memoryCipherBlockNormal || mode == memoryCipherBlockFast;
    for (const std::size_t index : {0U, 1U}) {
        const CipherBlock blockKey = half(keys, index);
        const CipherBlock block = half(plain, index);
        const CipherBlock result = aes ? aesEncryptLastRoundKey(blockKey, block) : noekeonEncrypt12(blockKey, block);
        std::copy(result.begin(), result.end(), out.begin() + static_cast<std::ptrdiff_t>(index * result.size()));
    }
}
