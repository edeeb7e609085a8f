#pragma once

#include <QByteArray>
#include <QFile>

/// Whether `size` bytes can be allocated. Qt's containers end the process when memory runs out. Call this before an
/// allocation whose size depends on a file.
[[nodiscard]] bool canAllocate(qint64 size);

/// Does the same, and also checks that `size` fits the 32-bit sizes of our records.
[[nodiscard]] bool memoryAvailable(qint64 size);

enum class ReadStatus { done, noMemory, cutShort };

/// Reads the next `size` bytes of `device` into `bytes`, which is changed only if all of them were read. If the file
/// has fewer bytes left, at most 4096 bytes are allocated.
[[nodiscard]] ReadStatus readExactly(QFile& device, qint64 size, QByteArray& bytes);

/// The maximum number of bytes that are read from a pipe or device that the command line names. Without a limit, a read
/// from an endless device would never finish.
inline constexpr qint64 maxInputPipe = qint64{256} << 20;
