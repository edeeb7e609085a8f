#pragma once

#include <QByteArray>
#include <QFile>

enum class WholeStatus { done, tooLong, noMemory, failed };

/// Reads `file` from its start to its end into `bytes`, unless it has more than `limit` bytes. The caller has just
/// opened `file`, which can be a pipe or device. The array is allocated once, because a growing array leaves copies of
/// a secret in memory.
[[nodiscard]] WholeStatus readWhole(QFile& file, qint64 limit, QByteArray& bytes);

/// The same for a caller that doesn't need the reason of a failure.
[[nodiscard]] bool readUpTo(QFile& file, qint64 limit, QByteArray& bytes);
