#pragma once

#include "files/outputFile.h"

#include <QString>

namespace record {

// Exports pass their pieces to `write`, such as that of replaceFileBy(), until it returns false. They check the chain
// and the form of every line, but no signature: verifyRecord() does. After a fault, the caller drops the pieces
// written.

/// Exports the envelopes of the checkpoints, one a line.
[[nodiscard]] bool exportInToto(const QString& path, const PieceWriter& write, QString& fault);

/// Exports a table (RFC 4180): a row for each output, a row for each device without outputs, and a row with the verdict
/// "recalled" for each recall. A field that a spreadsheet could take as a formula gets an apostrophe in front.
[[nodiscard]] bool exportCsv(const QString& path, const PieceWriter& write, QString& fault);

}  // namespace record
