#pragma once

#include <QStringList>

namespace produce {

/// Runs one command line, the program's name first. Prints data to standard output and faults to standard error.
/// Returns the status: 0 if everything is proven, 1 if some devices failed, 2 if nothing was started, 3 if the user
/// stopped the run.
[[nodiscard]] int run(const QStringList& arguments);

}  // namespace produce
