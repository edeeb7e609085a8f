#pragma once

#include "cli/Command.h"

namespace cli {

// Each command is defined in the source file with its name, or in the file in the comment on its line.
extern const Command helpCommand;  // informationCommands.cpp
extern const Command logCommand;   // informationCommands.cpp
extern const Command personalizationCommand;
extern const Command installImageCommand;
extern const Command signCommand;
extern const Command updateImageCommand;
extern const Command memoryCipherCommand;
extern const Command payloadCommand;
extern const Command keyGenerationCommand;
extern const Command binarySigningCommand;
extern const Command hsmCommand;
extern const Command imageTemplateCommand;   // templateCommands.cpp
extern const Command obkeyTemplatesCommand;  // templateCommands.cpp
extern const Command keyTemplateCommand;     // templateCommands.cpp
extern const Command parseTbiCommand;        // parseCommands.cpp
extern const Command parsePvsTbiCommand;     // parseCommands.cpp
extern const Command provisioningImageCommand;
extern const Command backupCommand;

/// All commands, in the order in which a run looks for their words. The order is part of the tool's behaviour: a
/// command that doesn't end the run leaves its data for later ones.
[[nodiscard]] std::span<const Command* const> commandChain();

}  // namespace cli
