#pragma once

#include "jobs/FieldRow.h"

namespace jobs {

struct JobRow;

/// The arguments after the program's name that run the job. Relative paths stay relative.
[[nodiscard]] QStringList argumentsOf(const JobRow& job, const JobValues& values);

/// The word that starts the tool at `toolPath` in a shell: its name if the PATH leads to it, otherwise the path.
[[nodiscard]] QString programWord(const QString& toolPath);

/// A path as an argument. The tool would read a path that begins with "-" as an option, and remove a blank at the
/// beginning, so such a path gets "./" in front.
[[nodiscard]] QString pathArgument(const QString& path);

// Ways to make arguments from a field's value. The default is the option with its one value.

/// Appends the value without an option.
void valueAlone(const FieldRow& row, const JobValues& values, QStringList& arguments);
/// Appends the option, the path and the words after the path, for each path.
void optionForEach(const FieldRow& row, const JobValues& values, QStringList& arguments);
/// Appends the option once, then all paths.
void optionForAll(const FieldRow& row, const JobValues& values, QStringList& arguments);
/// Appends nothing: another row passes the value.
void noArguments(const FieldRow& row, const JobValues& values, QStringList& arguments);

}  // namespace jobs
