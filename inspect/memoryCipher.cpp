#include "inspect/memoryCipher.h"

#include "files/readExactly.h"
#include "files/wipe.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <memory>

// This code is deliberately plain and small. It computes the tables from the rules in the standards, so that it can't
// repeat a mistake in a table of the tool.

namespace inspect {

namespace {

constexpr qsizetype keySize = 16;
using Block = std::array<std::uint8_t, 16>;
using Lanes = std::array<std::uint16_t, 25>;

template <typename Word>
constexpr Word rotateLeft(Word word, unsigned count) {
    constexpr unsigned bits = 8 * sizeof(Word);
    count %= bits;
    return count == 0 ? word : static_cast<Word>((word << count) | (word >> (bits - count)));
}

// FIPS 202, algorithm 2: the offset of each lane, modulo its 16 bits.
constexpr std::array<unsigned, 25> makeRotations() {
    std::array<unsigned, 25> rotations{};
    std::size_t x = 1;
    std::size_t y = 0;
    for (unsigned t = 0; t < 24; ++t) {
        rotations[x + 5 * y] = (t + 1) * (t + 2) / 2 % 16;
        const std::size_t next = (2 * x + 3 * y) % 5;
        x = y;
        y = next;
    }
    return rotations;
}

// FIPS 202, algorithms 5 and 6, for lanes of 2^4 bits: bits of an LFSR at the places 2^j - 1.
constexpr std::array<std::uint16_t, 12> makeRoundConstants() {
    std::array<std::uint16_t, 12> constants{};
    unsigned state = 1;
    for (std::uint16_t& constant : constants) {
        for (unsigned j = 0; j < 7; ++j) {
            if ((state & 1) != 0 && j <= 4) {
                constant = static_cast<std::uint16_t>(constant | (1U << ((1U << j) - 1)));
            }
            state = (state & 0x80) != 0 ? (state << 1) ^ 0x171 : state << 1;
        }
    }
    return constants;
}

// FIPS 197, 5.1.1: the inverse in GF(2^8), then the affine transformation.
constexpr std::array<std::uint8_t, 256> makeSbox() {
    std::array<std::uint8_t, 256> sbox{};
    std::uint8_t power = 1;    // a power of 3, which generates the field's units
    std::uint8_t inverse = 1;  // the inverse of `power`
    do {
        power = static_cast<std::uint8_t>(power ^ (power << 1) ^ ((power & 0x80) != 0 ? 0x1B : 0));
        // Division by 3 is multiplication by 0xF6.
        inverse = static_cast<std::uint8_t>(inverse ^ (inverse << 1));
        inverse = static_cast<std::uint8_t>(inverse ^ (inverse << 2));
        inverse = static_cast<std::uint8_t>(inverse ^ (inverse << 4));
        inverse = static_cast<std::uint8_t>(inverse ^ ((inverse & 0x80) != 0 ? 0x09 : 0));
        sbox[power] = static_cast<std::uint8_t>(inverse ^ rotateLeft(inverse, 1) ^ rotateLeft(inverse, 2) ^
                                                rotateLeft(inverse, 3) ^ rotateLeft(inverse, 4) ^ 0x63);
    } while (power != 1);
    sbox[0] = 0x63;
    return sbox;
}

constexpr auto rotations = makeRotations();
constexpr auto roundConstants = makeRoundConstants();
constexpr auto sbox = makeSbox();
static_assert(roundConstants[0] == 0x0001 && roundConstants[1] == 0x8082 && sbox[0x53] == 0xED);

// FIPS 202, 3.2: theta, rho, pi, chi, iota.
void permute(Lanes& lanes, std::size_t first, std::size_t last) {
    for (std::size_t round = first; round <= last; ++round) {
        std::array<std::uint16_t, 5> parity{};
        for (std::size_t i = 0; i < lanes.size(); ++i) {
            parity[i % 5] = static_cast<std::uint16_t>(parity[i % 5] ^ lanes[i]);
        }
        Lanes moved{};
        for (std::size_t y = 0; y < 5; ++y) {
            for (std::size_t x = 0; x < 5; ++x) {
                const auto lane = static_cast<std::uint16_t>(lanes[x + 5 * y] ^ parity[(x + 4) % 5] ^
                                                             rotateLeft(parity[(x + 1) % 5], 1));
                moved[y + 5 * ((2 * x + 3 * y) % 5)] = rotateLeft(lane, rotations[x + 5 * y]);
            }
        }
        for (std::size_t i = 0; i < lanes.size(); ++i) {
            const std::size_t row = i - i % 5;
            lanes[i] = static_cast<std::uint16_t>(moved[i] ^ (~moved[row + (i + 1) % 5] & moved[row + (i + 2) % 5]));
        }
        lanes[0] = static_cast<std::uint16_t>(lanes[0] ^ roundConstants[round]);
    }
}

/// Derives the keys of the groups from the master key.
class GroupKeys {
  public:
    GroupKeys(QByteArrayView key, bool isFast) : isFast_(isFast) {
        for (qsizetype i = 0; i < keySize; ++i) {
            std::uint16_t& lane = start_[static_cast<std::size_t>(i / 2)];
            lane = static_cast<std::uint16_t>(lane | static_cast<std::uint8_t>(key.at(i)) << (i % 2 * 8));
        }
        start_[10] = isFast ? 0x8000 : 0x8001;
        if (!isFast) {
            permute(start_, 0, 11);
        }
    }
    ~GroupKeys() { OPENSSL_cleanse(start_.data(), sizeof start_); }
    GroupKeys(const GroupKeys&) = delete;
    GroupKeys& operator=(const GroupKeys&) = delete;

    /// The block keys of a group's two halves, in the byte order of the state.
    [[nodiscard]] std::array<Block, 2> of(std::uint32_t address) const {
        Lanes lanes = start_;
        if (isFast_) {
            lanes[8] = static_cast<std::uint16_t>(address);
            lanes[9] = static_cast<std::uint16_t>(address >> 16);
            permute(lanes, 0, 8);
        } else {
            absorb(lanes, (address >> 5) & 0xFFFFFF);
            permute(lanes, 3, 11);
        }
        std::array<Block, 2> keys{};
        for (std::size_t i = 0; i < 32; ++i) {
            keys[i / 16][i % 16] = static_cast<std::uint8_t>(lanes[i / 2] >> (i % 2 * 8));
        }
        OPENSSL_cleanse(lanes.data(), sizeof lanes);
        return keys;
    }

  private:
    static void absorb(Lanes& lanes, std::uint32_t group) {
        for (int shift = 20; shift >= 0; shift -= 4) {
            const std::uint32_t nibble = group >> shift;
            const auto flip = [&lanes, nibble](unsigned bit, std::size_t lane, unsigned place) {
                lanes[lane] = static_cast<std::uint16_t>(lanes[lane] ^ (((nibble >> bit) & 1) << place));
            };
            flip(0, 0, 0);
            flip(1, 0, 7);
            flip(2, 4, 11);
            flip(3, 14, 4);
            permute(lanes, 0, 2);
        }
    }

    Lanes start_{};
    bool isFast_;
};

Block reversed(const Block& block) {
    Block result{};
    std::reverse_copy(block.begin(), block.end(), result.begin());
    return result;
}

// Runs the key expansion of FIPS 197, 5.2, backwards, from the last round key to the first, which is the cipher key.
void rewindKey(Block& key) {
    constexpr std::array<std::uint8_t, 10> constants = {0x36, 0x1B, 0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01};
    for (const std::uint8_t constant : constants) {
        for (std::size_t i = 15; i >= 4; --i) {
            key[i] ^= key[i - 4];
        }
        for (std::size_t i = 0; i < 4; ++i) {
            key[i] ^= sbox[key[12 + (i + 1) % 4]];
        }
        key[0] ^= constant;
    }
}

struct CipherFree {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, CipherFree>;

bool decryptAes(EVP_CIPHER_CTX* context, Block key, Block& block) {
    rewindKey(key);
    int written = 0;
    const bool isDone =
        EVP_DecryptInit_ex(context, EVP_aes_128_ecb(), nullptr, key.data(), nullptr) == 1 &&
        EVP_CIPHER_CTX_set_padding(context, 0) == 1 &&
        EVP_DecryptUpdate(context, block.data(), &written, block.data(), static_cast<int>(block.size())) == 1;
    OPENSSL_cleanse(key.data(), key.size());
    return isDone;
}

using Words = std::array<std::uint32_t, 4>;

Words toWords(const Block& block) {
    Words words{};
    for (std::size_t i = 0; i < block.size(); ++i) {
        words[i / 4] = (words[i / 4] << 8) | block[i];
    }
    return words;
}

// One half of Theta: adds the mixed sum of two words to the two others.
void mix(Words& state, std::size_t from, std::size_t to) {
    const std::uint32_t sum = state[from] ^ state[from + 2];
    const std::uint32_t spread = sum ^ rotateLeft(sum, 8) ^ rotateLeft(sum, 24);
    state[to] ^= spread;
    state[to + 2] ^= spread;
}

// Undoes the rounds of Noekeon, the last one first. Gamma is its own inverse. Pi1 is the inverse of Pi2.
void decryptNoekeon(const Block& keyBytes, Block& block) {
    constexpr std::array<std::uint32_t, 12> constants = {0x63, 0xBC, 0x5E, 0x2F, 0x9A, 0x4D,
                                                         0xAB, 0xD8, 0x6C, 0x36, 0x1B, 0x80};
    Words key = toWords(keyBytes);
    Words state = toWords(block);
    for (const std::uint32_t constant : constants) {
        state[1] = rotateLeft(state[1], 1);
        state[2] = rotateLeft(state[2], 5);
        state[3] = rotateLeft(state[3], 2);
        state[1] ^= ~state[3] & ~state[2];
        state[0] ^= state[2] & state[1];
        std::swap(state[0], state[3]);
        state[2] ^= state[0] ^ state[1] ^ state[3];
        state[1] ^= ~state[3] & ~state[2];
        state[0] ^= state[2] & state[1];
        state[1] = rotateLeft(state[1], 31);
        state[2] = rotateLeft(state[2], 27);
        state[3] = rotateLeft(state[3], 30);
        mix(state, 1, 0);
        for (std::size_t i = 0; i < state.size(); ++i) {
            state[i] ^= key[i];
        }
        mix(state, 0, 1);
        state[0] ^= constant;
    }
    for (std::size_t i = 0; i < block.size(); ++i) {
        block[i] = static_cast<std::uint8_t>(state[i / 4] >> (24 - i % 4 * 8));
    }
    OPENSSL_cleanse(key.data(), sizeof key);
    OPENSSL_cleanse(state.data(), sizeof state);
}

}  // namespace

QByteArray decryptMemory(QByteArrayView image, QByteArrayView key, std::uint32_t address, std::uint32_t mode) {
    const qsizetype size = image.size() / memoryGroupSize * memoryGroupSize;
    const CipherContext context(EVP_CIPHER_CTX_new());
    if (key.size() != keySize || context == nullptr || !canAllocate(size)) {
        return {};
    }
    const GroupKeys keys(key, mode == 1);
    const bool isAes = mode <= 1;
    QByteArray plain(size, '\0');
    for (qsizetype at = 0; at < size; at += memoryGroupSize) {
        std::array<Block, 2> blockKeys = keys.of(address + static_cast<std::uint32_t>(at));
        for (std::size_t half = 0; half < 2; ++half) {
            const qsizetype start = at + static_cast<qsizetype>(half * 16);
            Block block{};
            std::reverse_copy(image.begin() + start, image.begin() + start + 16, reinterpret_cast<char*>(block.data()));
            const Block blockKey = reversed(blockKeys[half]);
            if (!isAes) {
                decryptNoekeon(blockKey, block);
            } else if (!decryptAes(context.get(), blockKey, block)) {
                wipe(plain);
                return {};
            }
            std::reverse_copy(block.begin(), block.end(), plain.begin() + start);
        }
        OPENSSL_cleanse(blockKeys.data(), sizeof blockKeys);
    }
    return plain;
}

}  // namespace inspect
