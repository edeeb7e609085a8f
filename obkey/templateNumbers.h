#pragma once

#include <QString>
#include <QStringView>

#include <cstdint>

/// Whether `text` is "0x" or "0X" and one or more hexadecimal digits.
[[nodiscard]] bool isHexValue(QStringView text);

/// Whether every character of `text` is a digit 0 to 9; an empty text counts.
[[nodiscard]] bool isDecimalValue(QStringView text);

/// A decimal number as "0x" and capital hexadecimal digits. A text that can't be read as unsigned 64 bits is 0.
[[nodiscard]] QString decimalToHexValue(const QString& text);

/// The number in `text`, hexadecimal with "0x" and decimal otherwise; 0 if it can't be read as unsigned 64 bits.
[[nodiscard]] std::uint64_t templateNumber(const QString& text);

/// Checks the number in `text` against a field of `width` bytes (1 to 8). What counts is the number of digits written,
/// leading zeros included; a decimal number counts as its hexadecimal form. `name` is for the messages.
[[nodiscard]] bool checkDataValue(const QString& text, const QString& name, std::uint32_t width);

/// The byte that up to two hexadecimal digits stand for; 0 for anything else.
[[nodiscard]] char hexByte(QStringView digits);

/// Decimal numbers of a tag; 0 if unreadable or out of range.
[[nodiscard]] std::int32_t signedDecimal(const QString& text);
[[nodiscard]] std::uint32_t unsignedDecimal(const QString& text);

/// The decimal number behind the first "#" that digits follow ("start#2" gives 2); 0 if there is none or it is above
/// 31 bits.
[[nodiscard]] std::int32_t slotIndex(const QString& reference);

/// Splits a reference: a plain text has index 0, "#N#text" has the index N in its low 8 bits. False for any other form;
/// the results are untouched then.
[[nodiscard]] bool parseIndexedReference(const QString& reference, std::uint8_t& index, QString& text);
