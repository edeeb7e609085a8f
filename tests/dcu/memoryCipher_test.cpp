#include "Preparation/src/DCU/memoryCipher.h"
#include "Preparation/src/DCU/memoryCipherFast.h"

#include <QByteArray>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

CipherBlock block(const char* hex) {
    const QByteArray bytes = QByteArray::fromHex(hex);
    CipherBlock result{};
    std::copy(bytes.begin(), bytes.end(), result.begin());
    return result;
}

CipherBlock reversed(CipherBlock bytes) {
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

// FIPS 197, appendices A.1, B and C.1: last round key, plain block and cipher block of the examples.
TEST(MemoryCipher, AesByItsLastRoundKey) {
    const char* const rows[][3] = {
        {"d014f9a8c9ee2589e13f0cc8b6630ca6", "3243f6a8885a308d313198a2e0370734", "3925841d02dc09fbdc118597196a0b32"},
        {"13111d7fe3944a17f307a78b4d2b30c5", "00112233445566778899aabbccddeeff", "69c4e0d86a7b0430d8cdb78070b4c55a"},
    };
    for (const auto& [lastRoundKey, plain, cipher] : rows) {
        EXPECT_EQ(aesEncryptLastRoundKey(reversed(block(lastRoundKey)), reversed(block(plain))),
                  reversed(block(cipher)));
    }
}

NoekeonWords words(const CipherBlock& bytes) {
    NoekeonWords result{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        result[i / 4] = (result[i / 4] << 8) | bytes[i];
    }
    return result;
}

// The published direct-key vectors (key, plain, cipher). They cover all sixteen rounds and the final transformation.
TEST(MemoryCipher, NoekeonVectors) {
    const char* const rows[][3] = {
        {"00000000000000000000000000000000", "00000000000000000000000000000000", "b1656851699e29fa24b70148503d2dfc"},
        {"ffffffffffffffffffffffffffffffff", "ffffffffffffffffffffffffffffffff", "2a78421b87c7d0924f26113f1d1349b2"},
        {"b1656851699e29fa24b70148503d2dfc", "2a78421b87c7d0924f26113f1d1349b2", "e2f687e07b75660ffc372233bc47532c"},
    };
    for (const auto& [key, plain, cipher] : rows) {
        NoekeonWords state = words(block(plain));
        noekeonRounds(words(block(key)), state, 16);
        state[0] ^= noekeonRoundConstants[16];
        noekeonTheta(words(block(key)), state);
        EXPECT_EQ(state, words(block(cipher)));
    }
}

// The memory cipher runs twelve rounds on the reversed bytes of key and block, without the final transformation.
TEST(MemoryCipher, NoekeonReadsBackward) {
    const CipherBlock key = block("000102030405060708090a0b0c0d0e0f");
    const CipherBlock plain = block("f0e1d2c3b4a5968778695a4b3c2d1e0f");
    NoekeonWords state = words(plain);
    noekeonRounds(words(key), state, 12);
    EXPECT_EQ(words(reversed(noekeonEncrypt12(reversed(key), reversed(plain)))), state);
}

constexpr std::array<std::uint8_t, 16> someKey = {7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8};

// Tests for each bit of the address whether it affects the keys.
TEST(MemoryCipher, AddressBitsThatCount) {
    for (std::uint32_t bit = 0; bit < 32; ++bit) {
        const std::uint32_t address = 0x08000000 ^ (std::uint32_t{1} << bit);
        const bool inGroupNumber = bit >= 5 && bit <= 28;
        EXPECT_EQ(deriveKeysNormal(someKey, address) != deriveKeysNormal(someKey, 0x08000000), inGroupNumber) << bit;
        EXPECT_NE(deriveKeysFast(someKey, address), deriveKeysFast(someKey, 0x08000000)) << bit;
    }
}

// Repeats both derivations with the rounds of the permutation and the lanes that this address sets.
TEST(MemoryCipher, DerivationsByTheirRounds) {
    KeccakF400State fast{{0x0607, 0x0405, 0x0203, 0x0001, 0x0E0F, 0x0C0D, 0x0A0B, 0x0809, 0x3E60, 0x2A5C, 0x8000}};
    keccakF400Rounds(fast, 0, 8);
    KeccakF400State normal{{0x0607, 0x0405, 0x0203, 0x0001, 0x0E0F, 0x0C0D, 0x0A0B, 0x0809, 0, 0, 0x8001}};
    keccakF400Rounds(normal, 0, 11);
    // The group number is 0x52E1F3.
    const std::uint16_t nibbles[6][3] = {{0x01, 0x800, 0}, {0x80, 0, 0},        {0x80, 0x800, 0x10},
                                         {0x01, 0, 0},     {0x81, 0x800, 0x10}, {0x81, 0, 0}};
    for (const auto& nibble : nibbles) {
        normal.lanes[0] ^= nibble[0];
        normal.lanes[4] ^= nibble[1];
        normal.lanes[14] ^= nibble[2];
        keccakF400Rounds(normal, 0, 2);
    }
    keccakF400Rounds(normal, 3, 11);
    DerivedKeys expected;
    keccakF400GetBytes(fast, expected);
    EXPECT_EQ(deriveKeysFast(someKey, 0x2A5C3E60), expected);
    keccakF400GetBytes(normal, expected);
    EXPECT_EQ(deriveKeysNormal(someKey, 0x2A5C3E60), expected);
}

void compareWithDefinition(std::uint32_t address, std::size_t size) {
    static std::mt19937 random(2);
    std::array<std::uint8_t, 16> key;
    std::vector<std::uint8_t> plain(size);
    std::generate(key.begin(), key.end(), random);
    std::generate(plain.begin(), plain.end(), random);
    for (const std::uint32_t mode : {0U, 1U, 2U, 7U}) {
        std::vector<std::uint8_t> expected(size, 0xA5);
        for (std::size_t offset = 0; size - offset >= 32; offset += 32) {
            encryptGroup(mode, key, address + static_cast<std::uint32_t>(offset),
                         std::span(plain).subspan(offset).first<32>(), std::span(expected).subspan(offset).first<32>());
        }
        for (const EncryptGroups encrypt : memoryCipherWays()) {
            std::vector<std::uint8_t> found(size, 0xA5);
            encrypt(mode, key, address, plain, found);
            EXPECT_EQ(found, expected) << mode << ' ' << address << ' ' << size;
        }
    }
}

TEST(MemoryCipher, WholeImagesAgreeWithTheDefinition) {
    for (std::size_t size = 0; size <= 5000; size += size < 70 ? 1 : 97) {
        compareWithDefinition(static_cast<std::uint32_t>(size * 0x9E3779B1), size);
    }
    for (std::uint32_t bit = 0; bit < 32; ++bit) {
        const std::uint32_t address = std::uint32_t{1} << bit;
        compareWithDefinition(address, 1100);
        compareWithDefinition(address - 513, 1100);  // unaligned; the bit changes in the range
        compareWithDefinition(~address, 1100);
    }
    compareWithDefinition(0x1FFFF000, 9000);  // the group numbers wrap in the range
}

}  // namespace
