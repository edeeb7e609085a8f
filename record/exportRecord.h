#pragma once

#include "files/outputFile.h"

#include <QString>

namespace record {

// Exports pass their pieces to `write`, such as that of replaceFileBy(), until it returns false. They check the chain
// and the form of every line, but no signature, which verifyRecord() checks. After a fault, the caller discards the
// pieces that were written.

/// Exports the envelopes of the checkpoints, one per line.
[[nodiscard]] bool exportInToto(const QString& path, const PieceWriter& write, QString& fault);

/// Exports a table (RFC 4180): a row for each output, a row for each device without outputs, and a row with the verdict
/// "recalled" for each recall. An apostrophe is put before a field that a spreadsheet could read as a formula.
[[nodiscard]] bool exportCsv(const QString& path, const PieceWriter& write, QString& fault);

}  // namespace record
