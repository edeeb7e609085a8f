#pragma once

#include "inspect/Evidence.h"

#include <QString>

namespace inspect {

/// Reads all of the file at `path`, a pipe too; "-" is standard input. On failure `fault` says why.
[[nodiscard]] bool readInput(const QString& path, QByteArray& bytes, QString& fault);

/// Reads a key of exactly 16 bytes likewise. `warning` tells of a file that everybody may read.
[[nodiscard]] bool readKey(const QString& path, QByteArray& key, QString& fault, QString& warning);

/// Reads a key of the memory cipher: the first 16 bytes of the file, as the packaging tool takes them.
[[nodiscard]] bool readMemoryKey(const QString& path, QByteArray& key, QString& fault, QString& warning);

/// Reads a key in PEM or point form, 64 KiB at most, likewise. The caller wipes it.
[[nodiscard]] bool readKeyFile(const QString& path, QByteArray& key, QString& fault, QString& warning);

}  // namespace inspect
