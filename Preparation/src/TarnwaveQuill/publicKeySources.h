#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstdint>

/// Writes the public key as a C source and as a Python source: the modulus and 256 bytes of `r2` (zeros where it is
/// shorter) as decimal numbers, most significant first, the exponent as four bytes in hexadecimal. False, and neither
/// file, if one of them can't be opened or written.
[[nodiscard]] bool writePublicKeySources(const QList<std::int32_t>& modulusBytes, std::uint32_t exponent,
                                         const QByteArray& r2, const QString& cPath, const QString& pyPath);
