#pragma once

#include <QStringView>

#include <cstdint>

/// Reads an unsigned 32-bit number: digits after an optional prefix, without sign or blanks. Base 16 allows the prefix
/// "0x". Base 0 lets the prefix select the base: "0x" hexadecimal, a leading 0 octal, otherwise decimal. Returns false
/// and leaves `value` unchanged if the text has another form or the number is above 4294967295.
[[nodiscard]] bool parseNumber(QStringView text, int base, std::uint32_t& value);
