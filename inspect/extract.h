#pragma once

#include "inspect/Report.h"

namespace inspect {

/// Writes every content as a file of its own, and `manifest.json`, into the new folder at `path`: for its owner only,
/// and whole or not at all. On failure `fault` says why.
[[nodiscard]] bool writeContents(const QString& path, const Description& description, const Contents& contents,
                                 QString& fault);

}  // namespace inspect
