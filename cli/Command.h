#pragma once

#include "cli/CliOption.h"
#include "cli/Flow.h"

#include <QStringList>

#include <array>
#include <span>

class CommandLineTool;

/// The part of the command line that concerns one command.
struct CommandCall {
    QStringList params;                  ///< the parameters of the command word
    std::span<const CliOption> options;  ///< the options after the command word, up to the end of the line
};

/// Returns the path of the file that a command writes into the folder, or next to the file, that an option names.
using DerivedPath = QString (*)(const QString& path);

/// An option as the rest of the tool knows it: its names, and which of its parameters name files.
struct OptionNames {
    const char* shortName;
    const char* longName;
    int files;            ///< how many of the first parameters name files
    DerivedPath derived;  ///< gives the path derived from the first parameter; may be null
};

/// `files` of an option all of whose parameters name files.
inline constexpr int allAreFiles = 1 << 16;

/// One step of the chain: the words that call it, its function, and the options after its word.
struct Command {
    std::array<const char*, 3> words;  ///< in the order in which they are looked for; null: unused
    Flow (*run)(CommandLineTool& tool, const CommandCall& call);
    int files = 0;  ///< how many parameters of the command word name files
    std::span<const OptionNames> options = {};
};
