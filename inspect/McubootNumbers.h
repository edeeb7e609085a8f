#pragma once

#include "files/ByteReader.h"

#include <QtEndian>

namespace inspect {

/// Reads the numbers of an MCUboot image in its byte order.
class McubootNumbers {
  public:
    McubootNumbers(QByteArrayView bytes, bool isBigEndian) : reader_(bytes), isBigEndian_(isBigEndian) {}

    [[nodiscard]] ByteReader& bytes() { return reader_; }
    [[nodiscard]] std::uint8_t u8() { return reader_.u8(); }
    [[nodiscard]] std::uint16_t u16() { return isBigEndian_ ? qbswap(reader_.u16()) : reader_.u16(); }
    [[nodiscard]] std::uint32_t u32() { return isBigEndian_ ? qbswap(reader_.u32()) : reader_.u32(); }
    /// The type of an entry: in both byte orders, a type of one byte is the first byte.
    [[nodiscard]] std::uint16_t type() {
        const std::uint16_t value = reader_.u16();
        return isBigEndian_ && value > 0xFF ? qbswap(value) : value;
    }

  private:
    ByteReader reader_;
    bool isBigEndian_;
};

}  // namespace inspect
