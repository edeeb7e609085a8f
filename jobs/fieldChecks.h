#pragma once

#include "files/FileLoadContext.h"
#include "formats/openCsvFile.h"
#include "jobs/FieldRow.h"

#include <cstdint>
#include <initializer_list>

// What is said of the values of a job's fields. They take whatever the tool takes, and never show what a key holds.
// Whether a file is there, and can be read or made, is told by the form; what isn't there is good here. A pipe or
// device counts as a file whose content isn't known.

/// A 32-bit number up to `most`, in any base.
[[nodiscard]] Verdict checkNumber(const QStringList& value, std::uint32_t most = UINT32_MAX);
/// A hexadecimal number other than 0, with or without "0x".
[[nodiscard]] Verdict checkHexAddress(const QStringList& value);
[[nodiscard]] Verdict checkLength(const QStringList& value, qsizetype mostBytes);

/// The first that `check` finds fault with in a list of paths and texts behind them, or what it found in all.
[[nodiscard]] Verdict checkFiles(const QStringList& value,
                                 Verdict (*check)(const QString& path, const QString& beside));
/// A file of one of these sizes; of any but 0 if none is given.
[[nodiscard]] Verdict checkFileSize(const QString& path, std::initializer_list<qint64> sizes = {});
/// A file whose name ends like this, as it is written.
[[nodiscard]] Verdict checkFileSuffix(const QString& path, const char* suffix);
/// A file that the tool reads with `reader`; null for raw binary.
[[nodiscard]] Verdict checkFormat(const QString& path, FileReader reader);
/// Firmware in any of its formats. `needsAddress` asks for `address` beside raw binary.
[[nodiscard]] Verdict checkFirmware(const QString& path, bool needsAddress = false, const QString& address = {});
/// Firmware with one segment.
[[nodiscard]] Verdict checkUpdateFirmware(const QString& path);
[[nodiscard]] Verdict checkTable(const QString& path, CsvKind kind);

/// A file to make whose name ends in one of `suffixes` as they are written.
[[nodiscard]] Verdict checkOutput(const QString& path, std::initializer_list<const char*> suffixes = {});
/// The same where the tool replaces nothing.
[[nodiscard]] Verdict checkNewOutput(const QString& path, std::initializer_list<const char*> suffixes = {});

/// Whether the tool reads this file as raw binary, which tells no address.
[[nodiscard]] bool isRawBinary(const QString& path);
