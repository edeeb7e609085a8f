#pragma once

#include <QString>

inline constexpr int randomFileWritten = 0;
inline constexpr int randomFileFailed = -1;

/// Write a file of random bytes, with a warning if it exists already. `randomFileWritten`, or `randomFileFailed` with a
/// message; an older file stays then.
///
/// The bytes depend on nothing but the clock, one millisecond apart each: whoever knows when a file was made can guess
/// it. The files are for trials; no key of a product comes from here.
[[nodiscard]] int generateRandomFile(const QString& path, qsizetype size);
[[nodiscard]] int generateRandomFile16(const QString& path);
[[nodiscard]] int generateRandomFile12(const QString& path);
