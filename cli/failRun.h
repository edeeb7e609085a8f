#pragma once

#include "cli/Flow.h"

#include <QStringList>

namespace cli {

/// Continues the chain, or ends the run with status 1 after a fault that has been reported.
[[nodiscard]] constexpr Flow continueIf(bool fine) {
    return fine ? Flow::goOn() : Flow::end(1);
}

/// Reports an error and ends the run with status 1.
Flow failRun(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// Prints each of the paths at fault, then reports the error `text` and ends the run with status 1.
Flow failRunOver(const QStringList& paths, const char* text);

}  // namespace cli
