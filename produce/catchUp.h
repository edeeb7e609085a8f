#pragma once

#include "ledger/Ledger.h"

namespace produce {

/// Puts the lines that a restored ledger lacks back into it, from the record of its station in the file at `path`:
/// devices with their IVs and their ends, recalls, retired keys, imported IVs and epochs. `lines` counts them. Refuses
/// a record that doesn't continue the ledger's own, before anything is put back. If the ledger fails later, the same
/// call continues. A last line that a crash cut off is left out. A missing file counts as a record without lines.
///
/// Claims without a line are lost with the old ledger. Nonces of the ledger that they used belong to its last epoch,
/// which must be replaced afterwards.
[[nodiscard]] bool catchUp(const QString& path, const QString& station, ledger::Ledger& ledger, qint64& lines,
                           QString& fault);

}  // namespace produce
