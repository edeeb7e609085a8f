#pragma once

#include "devices/Device.h"

#include <QString>

namespace desktop {

// The texts of words and fields of option bytes, and the parser of the user's entries.

/// For example "0x000000AA", with one digit for every four bits.
[[nodiscard]] QString hexText(std::uint32_t value, int bits);

/// For example "bit 20" or "bits 10–8".
[[nodiscard]] QString bitsText(const devices::DeviceField& field);

/// The entry of `value` in the field's named values; null if none.
[[nodiscard]] const devices::NamedValue* namedValue(const devices::DeviceField& field, std::uint32_t value);

/// For example "Flash (0x3)", or the number alone; "0" or "1" for a single bit.
[[nodiscard]] QString valueText(const devices::DeviceField& field, std::uint32_t value);

/// Parses the user's entry of a value of `bits` bits. The entry is hexadecimal if it starts with 0x or if `isHex` is
/// true; otherwise it is decimal. On failure returns false with a sentence in `reason`.
[[nodiscard]] bool readEntry(const QString& text, int bits, bool isHex, std::uint32_t& value, QString& reason);

}  // namespace desktop
