#pragma once

#include "cli/CliOption.h"
#include "cli/Flow.h"

#include <QStringList>

#include <array>
#include <span>

namespace cli {

class CommandLineTool;

/// The part of the command line that belongs to one command.
struct CommandCall {
    QStringList params;                  ///< the parameters of the command word
    std::span<const CliOption> options;  ///< the options after the command word, up to the end of the line
};

/// Returns the path of a file that a command writes. `path` is the parameter of an option: the folder of that file, or
/// another file in the same folder.
using DerivedPath = QString (*)(const QString& path);

/// The names of an option, and the number of its parameters that name files.
struct OptionNames {
    const char* shortName;
    const char* longName;
    int files;            ///< how many of the first parameters name files
    DerivedPath derived;  ///< gives the path derived from the first parameter; may be null
};

/// The value of `files` if all parameters of an option name files.
inline constexpr int allAreFiles = 1 << 16;

/// One step of the chain: the words that call it, its function, and the options after its word.
struct Command {
    std::array<const char*, 3> words;  ///< in the order of the search; null: unused
    Flow (*run)(CommandLineTool& tool, const CommandCall& call);
    int files = 0;  ///< how many parameters of the command word name files
    std::span<const OptionNames> options = {};
};

}  // namespace cli
