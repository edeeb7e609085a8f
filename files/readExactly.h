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
