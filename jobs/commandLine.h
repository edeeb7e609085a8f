#pragma once

#include "jobs/FieldRow.h"

struct JobRow;

/// What the tool is started with: the arguments behind the program's name. Relative paths stay relative.
[[nodiscard]] QStringList argumentsOf(const JobRow& job, const JobValues& values);

/// What a shell is to start the tool at `toolPath` with: its name if the PATH leads to it, else the path.
[[nodiscard]] QString programWord(const QString& toolPath);

/// A path as the tool takes it: one that would be read as an option, or lose a blank, gets "./" in front.
[[nodiscard]] QString pathArgument(const QString& path);

// The ways in which a field's value becomes arguments, besides the option with its one value.

/// The value alone, behind what stands before it.
void valueAlone(const FieldRow& row, const JobValues& values, QStringList& arguments);
/// The option anew for each path, with the words of the text behind it.
void optionForEach(const FieldRow& row, const JobValues& values, QStringList& arguments);
/// The option once, then all paths.
void optionForAll(const FieldRow& row, const JobValues& values, QStringList& arguments);
/// Nothing: another row tells it.
void toldElsewhere(const FieldRow& row, const JobValues& values, QStringList& arguments);
