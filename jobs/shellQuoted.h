#pragma once

#include <QStringList>

/// `words` as one line that a POSIX shell splits into these words again (POSIX.1-2017, Shell Command Language, 2.2.2).
[[nodiscard]] QString shellQuoted(const QStringList& words);
