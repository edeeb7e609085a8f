#pragma once

#include <QStringView>

#include <cstdint>

/// Reads an unsigned 32-bit number: digits behind an optional prefix, without sign or blanks. In base 16 a prefix "0x"
/// may stand. In base 0 the form tells the base: "0x" hexadecimal, a leading 0 octal, otherwise decimal. False, with
/// `value` untouched, if the text is anything else or the number is above 4294967295.
[[nodiscard]] bool parseNumber(QStringView text, int base, std::uint32_t& value);
