#pragma once

#include <QString>
#include <QStringView>

#include <cstdint>

namespace obkey {

inline constexpr std::int32_t widestField = 65536;   ///< bytes
inline constexpr qsizetype permissionMaskSize = 32;  ///< bytes

[[nodiscard]] bool isFieldWidth(std::int32_t width);

/// Whether `text` starts with "0x" or "0X".
[[nodiscard]] bool hasHexPrefix(QStringView text);

/// Whether `text` is "0x" or "0X" and one or more hexadecimal digits.
[[nodiscard]] bool isHexValue(QStringView text);

/// Whether every character of `text` is a digit 0 to 9. True for an empty text.
[[nodiscard]] bool isDecimalValue(QStringView text);

/// Converts a decimal number to "0x" and capital hexadecimal digits. "0x0" if `text` isn't an unsigned 64-bit number.
[[nodiscard]] QString decimalToHexValue(const QString& text);

/// The number in `text`, hexadecimal with "0x" and decimal otherwise; 0 if it isn't an unsigned 64-bit number.
[[nodiscard]] std::uint64_t templateNumber(const QString& text);

/// Checks that the number in `text` fits a field of `width` bytes (1 to 8). The check counts hexadecimal digits,
/// including leading zeros; it converts a decimal number first. Messages contain `name`.
[[nodiscard]] bool checkDataValue(const QString& text, const QString& name, std::uint32_t width);

/// Whether a field of `width` bytes, in a List or elsewhere, has room for the number in `text`.
[[nodiscard]] bool numberFits(const QString& text, bool isList, std::int32_t width);

/// Whether a field, in a List or elsewhere, reads all of `text` as a number.
[[nodiscard]] bool isFieldNumber(const QString& text, bool isList);

/// The pairs of hexadecimal digits that a field stores for `text`: the digits after "0x", or in a List the hexadecimal
/// form of a decimal number. Empty for a decimal number in any other field. Returns only the last n pairs, where n is
/// the number of pairs modulo 256.
[[nodiscard]] QString storedDigits(const QString& text, bool isList);

/// The value of one or two hexadecimal digits; 0 for any other text.
[[nodiscard]] char hexByte(QStringView digits);

/// The decimal number in a tag's text; 0 if the text isn't a number or is out of range.
[[nodiscard]] std::int32_t signedDecimal(const QString& text);
[[nodiscard]] std::uint32_t unsignedDecimal(const QString& text);

/// The decimal number after the first "#" that is followed by a digit ("start#2" gives 2); 0 if there is none or it
/// exceeds 31 bits.
[[nodiscard]] std::int32_t slotIndex(const QString& reference);

/// Splits a reference. A text without "#" has index 0; the index of "#N#text" is the low 8 bits of N. False, with
/// unchanged results, for any other number of "#".
[[nodiscard]] bool parseIndexedReference(const QString& reference, std::uint8_t& index, QString& text);

}  // namespace obkey
