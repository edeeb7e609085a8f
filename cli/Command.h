#pragma once

#include "cli/CliOption.h"
#include "cli/Flow.h"

#include <QStringList>

#include <array>
#include <span>

class CommandLineTool;

/// What a command finds on the command line.
struct CommandCall {
    QStringList params;                  ///< those of its own word
    std::span<const CliOption> options;  ///< those behind its word, up to the end of the line
};

/// Tells the file that a command writes in the folder, or beside the file, that an option names.
using DerivedPath = QString (*)(const QString& path);

/// An option as the rest of the tool knows it: its names, and the files that its parameters tell.
struct OptionNames {
    const char* shortName;
    const char* longName;
    int files;            ///< how many of the first parameters name one
    DerivedPath derived;  ///< of the first parameter; may be null
};

/// `files` of an option all of whose parameters name files.
inline constexpr int allAreFiles = 1 << 16;

/// One step of the chain: the words that call it, what it does, and what stands behind its word.
struct Command {
    std::array<const char*, 3> words;  ///< the one looked for first in front; null: no further one
    Flow (*run)(CommandLineTool& tool, const CommandCall& call);
    int files = 0;  ///< how many parameters of its own word name files
    std::span<const OptionNames> options = {};
};
