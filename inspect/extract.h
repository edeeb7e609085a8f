#pragma once

#include "inspect/Report.h"

namespace inspect {

/// Writes each content to its own file, and `manifest.json`, into the new folder at `path`. The folder is readable by
/// its owner only. It is created with all its files, or not at all. On failure `fault` says why. SIGHUP, SIGINT and
/// SIGTERM end the process after it has removed the unfinished folder.
[[nodiscard]] bool writeContents(const QString& path, const Description& description, const Contents& contents,
                                 QString& fault);

/// Removes the folder of an unfinished extraction. It allocates nothing, so it works when memory has run out.
void removeUnfinished();

}  // namespace inspect
