#pragma once

#include <QStringList>

namespace jobs {

/// Joins `words` to one line that a POSIX shell splits into the same words (POSIX.1-2017, Shell Command
/// Language, 2.2.2).
[[nodiscard]] QString shellQuoted(const QStringList& words);

}  // namespace jobs
