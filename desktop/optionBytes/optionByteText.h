#pragma once

#include "devices/Device.h"

#include <QString>

// The texts of words and fields of option bytes, and the parser for what the user enters.

/// For example "0x000000AA", with one digit for every four bits.
[[nodiscard]] QString hexText(std::uint32_t value, int bits);

/// For example "bit 20" or "bits 10–8".
[[nodiscard]] QString bitsText(const DeviceField& field);

/// Null if the value has no name.
[[nodiscard]] const NamedValue* namedValue(const DeviceField& field, std::uint32_t value);

/// For example "Flash (0x3)", or the number alone; "0" or "1" for a single bit.
[[nodiscard]] QString valueText(const DeviceField& field, std::uint32_t value);

/// Parses a user's entry for `bits` bits: hexadecimal with 0x or if `isHex`, otherwise decimal. On failure returns
/// false with a sentence in `reason`.
[[nodiscard]] bool readEntry(const QString& text, int bits, bool isHex, std::uint32_t& value, QString& reason);
