#pragma once

#include <QList>
#include <QString>

#include <cstdint>
#include <optional>

namespace devices {

// The content of a device description. Every text is one line of printable characters. The texts come from a file, so
// windows display them as plain text.

enum class MemoryKind : std::uint8_t { flash, ram, rom, otp, backup, external };

/// A range of the address space. No two memories of a device overlap.
struct DeviceMemory {
    QString name;
    MemoryKind kind = MemoryKind::flash;
    std::uint32_t address = 0;
    std::uint32_t size = 0;       ///< bytes, at least 1; the memory ends within 32 bits
    std::uint32_t writeUnit = 1;  ///< smallest number of bytes per write, at most `size`
    QString description;
};

/// A value of a field that has a name.
struct NamedValue {
    std::uint32_t value = 0;
    QString name;
    QString description;
};

enum class FieldAccess : std::uint8_t { readWrite, readOnly, writeOnce };

/// Adjacent bits of a word with one meaning. No two fields of a word overlap.
struct DeviceField {
    QString name;
    std::uint32_t bit = 0;    ///< its lowest bit
    std::uint32_t width = 1;  ///< bits, at least 1
    FieldAccess access = FieldAccess::readWrite;
    QString description;
    QList<NamedValue> values;  ///< in the order of the description; other values are possible, too

    [[nodiscard]] std::uint32_t mask() const { return (0xFFFFFFFF >> (32 - width)) << bit; }
    [[nodiscard]] std::uint32_t valueIn(std::uint32_t word) const { return (word & mask()) >> bit; }
    /// `word` with this field set to the low `width` bits of `value`.
    [[nodiscard]] std::uint32_t set(std::uint32_t word, std::uint32_t value) const {
        return (word & ~mask()) | ((value << bit) & mask());
    }
};

/// One word of option bytes.
struct DeviceRegister {
    QString name;                          ///< the label of the word in a table, so it has no comma
    std::optional<std::uint32_t> address;  ///< all registers of a device have an address, or none has
    std::uint32_t size = 4;                ///< bytes: 1, 2 or 4. A table of option bytes has 32 bits for each register
    std::uint32_t reset = 0;
    QString description;
    QList<DeviceField> fields;

    /// The bits that the register has.
    [[nodiscard]] std::uint32_t mask() const { return 0xFFFFFFFF >> (32 - 8 * size); }
};

/// Adjacent words of the one-time-programmable memory that are filled together.
struct FuseWords {
    QString name;
    std::uint32_t index = 0;       ///< index of the first word
    std::uint32_t count = 1;       ///< number of 32-bit words, at least 1
    std::uint32_t protection = 0;  ///< initial value of the protection word
    bool mayBeLeftOut = false;
    QString description;

    [[nodiscard]] std::uint32_t end() const { return index + count; }
};

struct DeviceFuses {
    std::uint32_t wordCount = 0;    ///< larger than every index; 0 for a device without a description of fuses
    QList<DeviceField> protection;  ///< fields of the protection word, named like the keys of a secrets document
    QList<FuseWords> words;         ///< ascending, without overlap
};

/// A region of the decryption peripheral. Module lists for external memory refer to it.
struct ExternalRegion {
    std::uint32_t number = 0;  ///< 0 to 7
    QString name;
    std::uint32_t address = 0;
    std::uint32_t size = 0;  ///< bytes. Regions may overlap
};

enum class OtpLayout : std::uint8_t { none, fixed, records };

/// The parameters of commands for the device.
struct DeviceParameters {
    bool takesPartialImages = false;  ///< whether an install image may be split into parts that fit the RAM
    OtpLayout otpLayout = OtpLayout::none;
    QList<ExternalRegion> externalRegions;
};

struct Device {
    std::uint32_t deviceId = 0;
    QString name;
    QString description;
    QList<DeviceMemory> memories;
    QList<DeviceRegister> registers;  ///< in the order of a table of option bytes
    DeviceFuses fuses;
    DeviceParameters parameters;
};

}  // namespace devices
