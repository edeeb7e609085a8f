#include "cli/commands.h"

namespace cli {

namespace {

constexpr std::array chain = {
    &helpCommand,
    &logCommand,
    &personalizationCommand,
    &installImageCommand,
    &signCommand,
    &updateImageCommand,
    &memoryCipherCommand,
    &payloadCommand,
    &keyGenerationCommand,
    &binarySigningCommand,
    &hsmCommand,
    &imageTemplateCommand,
    &obkeyTemplatesCommand,
    &keyTemplateCommand,
    &parseTbiCommand,
    &parsePvsTbiCommand,
    &provisioningImageCommand,
    &backupCommand,
};

}  // namespace

std::span<const Command* const> commandChain() {
    return chain;
}

}  // namespace cli
