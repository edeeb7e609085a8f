#pragma once

#include <QStringList>

namespace inspect {

/// Runs one command line: data to standard output, faults to standard error. Gives the status: 0 proven, shown or no
/// difference; 1 wrong or a difference; 2 can't be judged.
[[nodiscard]] int run(const QStringList& arguments);

}  // namespace inspect
