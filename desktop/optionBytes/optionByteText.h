#pragma once

#include "devices/Device.h"

#include <QString>

// How words and fields of option bytes are told and entered.

/// "0x000000AA", with a digit for each four bits.
[[nodiscard]] QString hexText(std::uint32_t value, int bits);

/// "bit 20" or "bits 10–8".
[[nodiscard]] QString bitsText(const DeviceField& field);

/// Null if the value has no name.
[[nodiscard]] const NamedValue* namedValue(const DeviceField& field, std::uint32_t value);

/// "Flash (0x3)", or the number alone; of a single bit "0" or "1".
[[nodiscard]] QString valueText(const DeviceField& field, std::uint32_t value);

/// Reads what somebody entered for `bits` bits: hexadecimal with 0x before it or if `isHex`, else decimal. False with a
/// sentence in `reason`.
[[nodiscard]] bool readEntry(const QString& text, int bits, bool isHex, std::uint32_t& value, QString& reason);
