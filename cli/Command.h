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

/// An option as the rest of the tool knows it: its names, and how many of its first parameters name files.
struct OptionNames {
    const char* shortName;
    const char* longName;
    int files;
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
