#pragma once

#include <QChar>

#include <array>
#include <cstddef>
#include <cstdint>

/// How many characters decodeHexPairs may read, and how many bytes it may write, beyond the pairs that it decodes.
constexpr std::size_t hexTextSlack = 32;
constexpr std::size_t hexBytesSlack = 16;

struct HexDecoding {
    bool valid = false;    ///< every character was a hex digit of either case
    std::uint8_t sum = 0;  ///< the sum of all bytes, modulo 256; meaningless if not valid
};

/// Decodes `pairs` pairs of hex digits at `text` to `bytes`. Works on whole vectors: `hexTextSlack` characters after
/// the last pair must be readable, and up to `hexBytesSlack` bytes after the last byte are overwritten.
[[nodiscard]] HexDecoding decodeHexPairs(const char* text, std::size_t pairs, std::uint8_t* bytes);

/// Does the same one digit at a time, and stays within the pairs. Processors without SSE2 use it. A test compares both
/// functions.
[[nodiscard]] HexDecoding decodeHexPairsPortable(const char* text, std::size_t pairs, std::uint8_t* bytes);

/// The value of every character as a hex digit, or -1.
constexpr std::array<std::int8_t, 256> hexDigitValues = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(-1);
    for (std::int8_t i = 0; i < 10; ++i) {
        values['0' + static_cast<std::size_t>(i)] = i;
    }
    for (std::int8_t i = 0; i < 6; ++i) {
        values['A' + static_cast<std::size_t>(i)] = static_cast<std::int8_t>(10 + i);
        values['a' + static_cast<std::size_t>(i)] = static_cast<std::int8_t>(10 + i);
    }
    return values;
}();

[[nodiscard]] inline int hexDigitValue(char digit) {
    return hexDigitValues[static_cast<std::uint8_t>(digit)];
}

[[nodiscard]] inline int hexDigitValue(QChar digit) {
    const char16_t code = digit.unicode();
    return code < 0x80 ? hexDigitValue(static_cast<char>(code)) : -1;
}

[[nodiscard]] inline bool isHexDigit(QChar character) {
    return hexDigitValue(character) >= 0;
}
