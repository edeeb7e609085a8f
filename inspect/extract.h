#pragma once

#include "inspect/Report.h"

namespace inspect {

/// Writes every content as a file of its own, and `manifest.json`, into the new folder at `path`: readable by its owner
/// only, and whole or not at all. On failure `fault` says why. SIGHUP, SIGINT and SIGTERM end the process after it has
/// removed what it wrote.
[[nodiscard]] bool writeContents(const QString& path, const Description& description, const Contents& contents,
                                 QString& fault);

/// Removes what an extraction wrote so far. It allocates nothing, for a process that is out of memory.
void removeUnfinished();

}  // namespace inspect
