#include "cli/CommandBase.h"
#include "cli/commands.h"
#include "files/outputFile.h"
#include "files/readExactly.h"
#include "files/wipe.h"

#include <array>
#include <limits>

namespace cli {

namespace {

// Encrypts and wipes `content`. `output` receives the 16-byte tag followed by the encrypted data.
Flow encryptPersonalizationData(Preparation& preparation, FileSegment& content, QByteArray& output) {
    constexpr qsizetype ivOffset = 16;
    constexpr qsizetype tagSize = 16;
    QByteArray secret(32, '\0');
    const WipeOnExit wipeSecret(secret);
    const WipeOnExit wipePlain(content.data);
    auto* const secretBytes = reinterpret_cast<unsigned char*>(secret.data());
    std::array<unsigned char*, 2> table = {secretBytes, nullptr};
    if (!preparation.SignECDH_KDF2(table.data())) {
        reportError("fail to generete the secret");
    }
    if (content.size > std::numeric_limits<std::int32_t>::max()) {
        return failRun("Encryption failed %d", -1);
    }
    const auto length = static_cast<std::int32_t>(content.size);
    if (!memoryAvailable(tagSize + length)) {
        reportError("Memory allocation failed");
        return Flow::end(0);
    }
    output = QByteArray(tagSize + length, '\0');
    auto* const tag = reinterpret_cast<unsigned char*>(output.data());
    const std::int32_t count =
        preparation.encryptPersoData(reinterpret_cast<unsigned char*>(content.data.data()), length, secretBytes,
                                     secretBytes + ivOffset, tag + tagSize, tag);
    return count == length ? Flow::goOn() : failRun("Encryption failed %d", count);
}

struct PersonalizationCommand : CommandBase {
    using CommandBase::CommandBase;

    Flow run();
};

Flow PersonalizationCommand::run() {
    for (const CliOption& option : tool.options) {
        if (option.name != QLatin1String("-gpdata") && option.name != QLatin1String("--gpdata")) {
            continue;
        }
        if (option.params.size() < 2) {
            return failRun("You need to specify the input perso data file and the output file");
        }
        if (!openInput(option.params.at(0), tool.currentFile)) {
            return Flow::end(1);
        }
        secretPaths = option.params.first(1);
        if (!isFirmware(*tool.currentFile)) {
            return failRun("Unable to create a personalization data file from this file's format : %s",
                           qUtf8Printable(option.params.at(0)));
        }
        tool.outputPath = option.params.at(1);
    }
    if (!mayWrite(tool.outputPath)) {
        return Flow::end(1);
    }
    displayMessage(MessageKind::success, "Encryption of Personalization Data Process started ... ");
    QByteArray output;
    const Flow flow = encryptPersonalizationData(tool.preparation, tool.currentFile->segments.front(), output);
    if (flow.ends()) {
        return flow;
    }
    if (!writeOutputFile(tool.outputPath, output, "Error while writing in the output file")) {
        return Flow::end(1);
    }
    displayMessage(MessageKind::success, "Encrypted VX personalization data file generated successfully : %s",
                   qUtf8Printable(tool.outputPath));
    return Flow::end(0);
}

}  // namespace

constinit const Command personalizationCommand = {{"-gpdata", "--gpdata"}, runCommandOf<PersonalizationCommand>, 2};

}  // namespace cli
