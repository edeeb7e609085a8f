#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstdint>

/// Writes the public key as a C source and as a Python source. The modulus and 256 bytes of `r2`, padded with zeros,
/// are decimal numbers, most significant first. The exponent is four bytes in hexadecimal. If one of the files can't be
/// opened or written, returns false and writes neither.
[[nodiscard]] bool writePublicKeySources(const QList<std::int32_t>& modulusBytes, std::uint32_t exponent,
                                         const QByteArray& r2, const QString& cPath, const QString& pyPath);
