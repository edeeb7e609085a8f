#pragma once

#include "files/FileLoadContext.h"
#include "formats/openCsvFile.h"
#include "jobs/FieldRow.h"

#include <cstdint>
#include <initializer_list>

namespace jobs {

// Verdicts on the values of a job's fields. They accept everything that the tool accepts, and never show the content of
// a key. The form checks whether a file exists and can be read or made, so a missing file is good here. A pipe or
// device counts as a file with unknown content.

/// Needs a 32-bit number up to `most`: decimal, hexadecimal with "0x", or octal with a leading 0.
[[nodiscard]] Verdict checkNumber(const QStringList& value, std::uint32_t most);
[[nodiscard]] Verdict checkNumber(const QStringList& value);
/// Needs a hexadecimal number other than 0, with or without "0x".
[[nodiscard]] Verdict checkHexAddress(const QStringList& value);
[[nodiscard]] Verdict checkLength(const QStringList& value, qsizetype mostBytes);

/// Calls `check` for each path and the text after it. Returns the first verdict that isn't good. If all are good,
/// returns a good verdict with all texts.
[[nodiscard]] Verdict checkFiles(const QStringList& value,
                                 Verdict (*check)(const QString& path, const QString& beside));
/// Needs a file of one of these sizes. Without sizes, any file that isn't empty is good.
[[nodiscard]] Verdict checkFileSize(const QString& path, std::initializer_list<qint64> sizes = {});
/// Needs a file name that ends in `suffix`, in the same case.
[[nodiscard]] Verdict checkFileSuffix(const QString& path, const char* suffix);
/// Needs a file that the tool reads with `reader`; null for raw binary.
[[nodiscard]] Verdict checkFormat(const QString& path, FileReader reader);
/// Needs firmware in one of its formats. With `needsAddress`, raw binary needs an `address`.
[[nodiscard]] Verdict checkFirmware(const QString& path, bool needsAddress = false, const QString& address = {});
/// Needs firmware with one segment.
[[nodiscard]] Verdict checkUpdateFirmware(const QString& path);
[[nodiscard]] Verdict checkTable(const QString& path, CsvKind kind);

/// Needs the name of an output that ends in one of `suffixes`, in the same case.
[[nodiscard]] Verdict checkOutput(const QString& path, std::initializer_list<const char*> suffixes = {});
/// The same for an output that must not exist yet, since the tool doesn't replace it.
[[nodiscard]] Verdict checkNewOutput(const QString& path, std::initializer_list<const char*> suffixes = {});

/// Whether the tool reads this file as raw binary, which contains no address.
[[nodiscard]] bool isRawBinary(const QString& path);

}  // namespace jobs
