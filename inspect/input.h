#pragma once

#include "inspect/Evidence.h"

#include <QString>

namespace inspect {

/// Reads the whole file or pipe at `path`; "-" is standard input. On failure `fault` says why.
[[nodiscard]] bool readInput(const QString& path, QByteArray& bytes, QString& fault);

/// Reads a key of exactly 16 bytes in the same way. `warning` is set if every user can read the file.
[[nodiscard]] bool readKey(const QString& path, QByteArray& key, QString& fault, QString& warning);

/// Reads a key of the memory cipher: the first 16 bytes of the file, which the packaging tool uses as well.
[[nodiscard]] bool readMemoryKey(const QString& path, QByteArray& key, QString& fault, QString& warning);

/// Reads a key in PEM or point form, shorter than 64 KiB, in the same way. The caller wipes it.
[[nodiscard]] bool readKeyFile(const QString& path, QByteArray& key, QString& fault, QString& warning);

}  // namespace inspect
