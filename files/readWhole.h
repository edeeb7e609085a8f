#pragma once

#include <QByteArray>
#include <QFile>

enum class WholeStatus { done, tooLong, noMemory, failed };

/// Reads `file`, which was just opened, a pipe or device too, from its start to its end into `bytes`, unless that is
/// more than `limit` bytes. The array takes its room at once: one that grows would leave copies of a secret.
[[nodiscard]] WholeStatus readWhole(QFile& file, qint64 limit, QByteArray& bytes);

/// The same for whoever needn't know why it failed.
[[nodiscard]] bool readUpTo(QFile& file, qint64 limit, QByteArray& bytes);
