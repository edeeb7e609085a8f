#pragma once

#include <QByteArray>
#include <QFile>

/// Whether `size` bytes can be had. Qt's containers end the process when memory runs out, so whatever a file makes
/// large is asked for here first.
[[nodiscard]] bool canAllocate(qint64 size);

/// The same for what has to fit the 32-bit sizes of our records besides.
[[nodiscard]] bool memoryAvailable(qint64 size);

enum class ReadStatus { done, noMemory, cutShort };

/// Reads the next `size` bytes of `device` into `bytes`, which is touched only if all of them came. Nothing is
/// allocated for bytes that the file doesn't have.
[[nodiscard]] ReadStatus readExactly(QFile& device, qint64 size, QByteArray& bytes);

/// How much is taken from a pipe or device that a command names, which perhaps never ends.
inline constexpr qint64 maxInputPipe = qint64{256} << 20;

enum class WholeStatus { done, tooLong, noMemory, failed };

/// Reads `file`, which was just opened, a pipe or device too, from its start to its end into `bytes`, unless that is
/// more than `limit` bytes. The array takes its room at once: one that grows would leave copies of a secret.
[[nodiscard]] WholeStatus readWhole(QFile& file, qint64 limit, QByteArray& bytes);

/// The same for whoever needn't know why it failed.
[[nodiscard]] bool readUpTo(QFile& file, qint64 limit, QByteArray& bytes);
