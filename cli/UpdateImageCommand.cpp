#include "cli/CommandBase.h"
#include "cli/commands.h"
#include "files/outputFile.h"

namespace cli {

namespace {

constexpr qsizetype headerSize = 64;

struct UpdateImageCommand : CommandBase {
    using CommandBase::CommandBase;

    Flow run();
    Flow readFirmware(const QStringList& params);
    Flow setHeaderOutput(const QStringList& params);
    Flow setImageOutput(const QStringList& params);
};

constexpr OptionRow<UpdateImageCommand> optionRows[] = {
    {"-fir", "--firmware", "firmware", missingFirmwareFile, &UpdateImageCommand::readFirmware, 1},
    {"-k", "--key", "key", missingKeyFile, &UpdateImageCommand::readKey, 1},
    {"-n", "--nonce", "nonce", missingNonceFile, &UpdateImageCommand::readNonce12, 1},
    {"-v", "--ver", "image version", missingImageVersion, &UpdateImageCommand::setImageVersion},
    {"-oh", "--outheader", "output header file", "You need to specify a file with the output header file option",
     &UpdateImageCommand::setHeaderOutput, 1},
    {"-os", "--outtbu", "output tbu file", "You need to specify a file with the output tbu file option",
     &UpdateImageCommand::setImageOutput, 1},
    {"-l", "--log"},
};

Flow UpdateImageCommand::readFirmware(const QStringList& params) {
    if (!openInput(params.constFirst(), tool.currentFile)) {
        return Flow::end(1);
    }
    if (!isFirmware(*tool.currentFile)) {
        return failRun("Unable to create an TBU image from this file's format : %s",
                       qUtf8Printable(params.constFirst()));
    }
    tool.firmware = tool.currentFile;
    return tool.firmware->segmentCount == 1 ? Flow::goOn()
                                            : failRun("The firmware file contains more than one segment");
}

Flow UpdateImageCommand::setHeaderOutput(const QStringList& params) {
    tool.outputPath = params.constFirst();
    return tool.outputPath.endsWith(QLatin1String(".tbuh"))
               ? Flow::goOn()
               : failRun("An TBU header file must have the .tbuh extension");
}

Flow UpdateImageCommand::setImageOutput(const QStringList& params) {
    tool.outputImagePath = params.constFirst();
    return tool.outputImagePath.endsWith(QLatin1String(".tbu")) ? Flow::goOn()
                                                                : failRun("An TBU file must have the .tbu extension");
}

Flow UpdateImageCommand::run() {
    // -tbi is earlier in the chain and ends such a run. This check has an effect only if that order changes.
    if (tool.isGiven({"-tbi", "--tbi"})) {
        return failRun("You need to specify which of tbi, kmd or tbu you want to create");
    }
    warnOfOwnParameters("tbu");
    const Flow flow = walkOptions(*this, optionRows, "tbu");
    if (flow.ends()) {
        return flow;
    }
    for (const char* const name : {"-fir", "-k", "-n", "-v", "-oh", "-os"}) {
        if (!wasGiven(optionRows, given, name)) {
            return failRun("One or more mandatory options are missing");
        }
    }
    if (!mayWrite(tool.outputPath) || !mayWrite(tool.outputImagePath)) {
        return Flow::end(1);
    }
    if (isSameFile(tool.outputPath, tool.outputImagePath)) {
        return failRun("The output files %s and %s are one file", qUtf8Printable(tool.outputPath),
                       qUtf8Printable(tool.outputImagePath));
    }
    const QByteArray image = tool.preparation.TBUPreparation(tool.firmware, tool.key, tool.nonce,
                                                             static_cast<std::uint16_t>(tool.imageVersion));
    if (image.size() < headerSize) {
        return failRun("Error occured when preparing an TBU image");
    }
    const QByteArrayView bytes(image);
    const bool written =
        writeOutputFiles({{tool.outputPath, bytes.first(headerSize), "Error while writing in the tbu header file"},
                          {tool.outputImagePath, bytes.sliced(headerSize), "Error while writing in the tbu file"}});
    if (!written) {
        return Flow::end(1);
    }
    displayMessage(MessageKind::success, "TBU generation SUCCES");
    return Flow::end(0);
}

constexpr auto optionNames = namesOf(optionRows);

}  // namespace

constinit const Command updateImageCommand = {{"-tbu", "--tbu"}, runCommandOf<UpdateImageCommand>, 0, optionNames};

}  // namespace cli
