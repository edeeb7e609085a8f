#pragma once

#include "cli/Command.h"

// Each is defined in the source of its name; those of several commands in one source name it.
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

/// All of them, in the order in which a run looks for their words. The order is part of the tool's behaviour: a command
/// that lets the chain go on leaves its data to those after it.
[[nodiscard]] std::span<const Command* const> commandChain();
