#include "Preparation/src/TarnwaveQuill/publicKeyText.h"
#include "tests/support/MessageCapture.h"

#include <QBuffer>

#include <gmock/gmock.h>

TEST(PublicKeyText, ModulusEndsWhereItsLinesEnd) {
    struct Case {
        QByteArray text;
        QList<std::int32_t> bytes;
        QByteArray hex;
    };
    Case cases[] = {
        {"Public-Key\nModulus:\n  00:b3:0C:\n  00:ff\nExponent: 3 (0x3)\n11\n", {0xB3, 12, 0, 0xFF}, "b30C00ff"},
        {"Modulus:\n 00:01:\n\n02\n", {1}, "01"},
        {"Modulus:\r\n 00:01:\r\n 02\r\nExponent: 3\r\n", {1, 2}, "0102"},
        {"Modulus:\n 00:01:zz\n", {1}, "01zz"},
        {"Exponent: 3 (0x3)\nModulus:\n 00:01\n", {}, ""},
    };
    for (Case& row : cases) {
        QBuffer buffer(&row.text);
        ASSERT_TRUE(buffer.open(QIODevice::ReadOnly));
        const PublicKeyText result = parsePublicKeyText(buffer);
        EXPECT_EQ(result.modulusBytes, row.bytes) << row.text.constData();
        EXPECT_EQ(result.modulusHex, row.hex) << row.text.constData();
    }
}

TEST(PublicKeyText, ExponentIsOneOfThree) {
    struct Case {
        QByteArray text;
        std::uint32_t exponent;
        bool good;
    };
    Case cases[] = {
        {"Exponent: 65537 (0x10001)\n", 65537, true},
        {"()\nExponent\n Exponent: 3 (3)", 3, true},
        {"Modulus:\n", 0, true},
        {"Exponent: 5 (0x5)\n", 0, false},
        {"Exponent: 3 ()\n", 0, false},
        {"Exponent: 3 (0x100000003)\n", 0, false},
    };
    const MessageCapture capture;
    for (Case& row : cases) {
        QBuffer buffer(&row.text);
        ASSERT_TRUE(buffer.open(QIODevice::ReadOnly));
        std::uint32_t exponent = 1;
        EXPECT_EQ(readExponent(buffer, exponent), row.good) << row.text.constData();
        EXPECT_EQ(exponent, row.exponent) << row.text.constData();
    }
    EXPECT_EQ(capture.texts(), std::vector<std::string>(3, "Error: Error wrong exponent!!!\n"));
}

// The expected values are 2^(128 L) modulo n. L is the number of 64-bit words of n, a partial word included. Python
// computed the values.
TEST(PublicKeyText, R2CountsPartialWords) {
    constexpr std::pair<const char*, const char*> rows[] = {
        {"b3", "a1"},
        {"ffffffffffffffc5", "0000000000000d99"},
        {"1ffffffffffffffc5", "0060000000000b8e4c"},
        {"0000000000000003", "0000000000000001"},
    };
    QByteArray r2;
    for (const auto& [modulus, expected] : rows) {
        EXPECT_TRUE(computeR2(modulus, r2)) << modulus;
        EXPECT_EQ(r2.toHex(), expected) << modulus;
    }
    EXPECT_TRUE(computeR2(QByteArray(512, 'f'), r2));
    for (const QByteArray& wrong : {QByteArray(), QByteArray("0"), QByteArray("12x4"), QByteArray(513, 'f')}) {
        EXPECT_FALSE(computeR2(wrong, r2)) << wrong.constData();
    }
}
