#pragma once

#include "inspect/Report.h"

#include <QStringList>

namespace inspect {

struct Kept;

/// Runs one command line. Prints data to standard output and faults to standard error. Returns the status: 0 for
/// proven, shown or no difference; 1 for wrong or a difference; 2 for an undecided result or a failure.
[[nodiscard]] int run(const QStringList& arguments);

/// Does the same for a program that shows the report itself: it prints nothing. Unless `kept` is null, the bytes that
/// the report is about are stored there.
[[nodiscard]] Report reportOf(const QStringList& arguments, Kept* kept);

/// Whether `command` has this option, named without dashes.
[[nodiscard]] bool takesOption(const QString& command, const QString& option);

/// Whether a command-line argument is in UTF-8. Qt would replace other bytes, and then another file could be opened.
[[nodiscard]] bool isUtf8(const char* argument);
/// The report that an argument, counted from 1, isn't in UTF-8.
[[nodiscard]] Report argumentFault(int number);
/// Prints this report as text or JSON. Returns the status.
[[nodiscard]] int refuseArgument(int number, bool asJson);

}  // namespace inspect
