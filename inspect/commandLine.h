#pragma once

#include "inspect/Report.h"

#include <QStringList>

namespace inspect {

struct Kept;

/// Runs one command line: data to standard output, faults to standard error. Gives the status: 0 proven, shown or no
/// difference; 1 wrong or a difference; 2 can't be judged.
[[nodiscard]] int run(const QStringList& arguments);

/// Does the same but prints nothing: for a window, which shows the report, and in `kept`, unless that is null, the
/// bytes that it is about.
[[nodiscard]] Report reportOf(const QStringList& arguments, Kept* kept);

/// Whether `command` has this option, named without dashes.
[[nodiscard]] bool takesOption(const QString& command, const QString& option);

/// Tells, as a call would that was understood, that an argument isn't in UTF-8.
[[nodiscard]] int refuseArgument(int number, bool asJson);

}  // namespace inspect
