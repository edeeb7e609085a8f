#pragma once

#include <QByteArray>

#include <cstdint>

/// These functions append little-endian numbers to a byte array.
inline void appendU16(QByteArray& bytes, std::uint16_t value) {
    bytes.append(static_cast<char>(value & 0xFF));
    bytes.append(static_cast<char>(value >> 8));
}

inline void appendU32(QByteArray& bytes, std::uint32_t value) {
    appendU16(bytes, static_cast<std::uint16_t>(value & 0xFFFF));
    appendU16(bytes, static_cast<std::uint16_t>(value >> 16));
}
