#pragma once

#include <QString>

inline constexpr int randomFileWritten = 0;
inline constexpr int randomFileFailed = -1;

/// Write a file of random bytes, with a warning if it already exists. Return `randomFileWritten`, or `randomFileFailed`
/// with a message; an older file is then unchanged.
///
/// Each byte depends only on the clock, with one millisecond between two bytes. An attacker who knows when a file was
/// made can guess its content. The files are for tests, never for the keys of a product.
[[nodiscard]] int generateRandomFile(const QString& path, qsizetype size);
[[nodiscard]] int generateRandomFile16(const QString& path);
[[nodiscard]] int generateRandomFile12(const QString& path);
