#include "cli/CommandBase.h"
#include "files/outputFile.h"

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
    {"-fir", "--firmware", "firmware", missingFirmwareFile, &UpdateImageCommand::readFirmware},
    {"-k", "--key", "key", missingKeyFile, &UpdateImageCommand::readKey},
    {"-n", "--nonce", "nonce", missingNonceFile, &UpdateImageCommand::readNonce12},
    {"-v", "--ver", "image version", missingImageVersion, &UpdateImageCommand::setImageVersion},
    {"-oh", "--outheader", "output header file", "You need to specify a file with the output header file option",
     &UpdateImageCommand::setHeaderOutput},
    {"-os", "--outtbu", "output tbu file", "You need to specify a file with the output tbu file option",
     &UpdateImageCommand::setImageOutput},
    {"-l", "--log"},
};

Flow UpdateImageCommand::readFirmware(const QStringList& params) {
    if (!openInput(params.constFirst(), tool.currentFile)) {
        return Flow::end(1);
    }
    if (!isFirmware(*tool.currentFile)) {
        return failWith("Unable to create an TBU image from this file's format : %s",
                        qUtf8Printable(params.constFirst()));
    }
    tool.firmware = tool.currentFile;
    return tool.firmware->segmentCount == 1 ? Flow::goOn()
                                            : failWith("The firmware file contains more than one segment");
}

Flow UpdateImageCommand::setHeaderOutput(const QStringList& params) {
    tool.outputPath = params.constFirst();
    return tool.outputPath.endsWith(QLatin1String(".tbuh"))
               ? Flow::goOn()
               : failWith("An TBU header file must have the .tbuh extension");
}

Flow UpdateImageCommand::setImageOutput(const QStringList& params) {
    tool.outputImagePath = params.constFirst();
    return tool.outputImagePath.endsWith(QLatin1String(".tbu")) ? Flow::goOn()
                                                                : failWith("An TBU file must have the .tbu extension");
}

Flow UpdateImageCommand::run() {
    const Flow flow = walkOptions(tool, *this, optionRows, "tbu", given);
    if (flow.ends()) {
        return flow;
    }
    for (const char* const name : {"-fir", "-k", "-n", "-v", "-oh", "-os"}) {
        if (!wasGiven(optionRows, given, name)) {
            return failWith("One or more mandatory options are missing");
        }
    }
    const QByteArray image = tool.preparation.TBUPreparation(tool.firmware, tool.key, tool.nonce,
                                                             static_cast<std::uint16_t>(tool.imageVersion));
    if (image.size() < headerSize) {
        return failWith("Error occured when preparing an TBU image");
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

}  // namespace

Flow CommandLineTool::runUpdateImage() {
    // The chain has ended a run with both words before; a changed order of steps must not let one through.
    if (anyPresent({"-tbi", "--tbi"})) {
        return failWith("You need to specify which of tbi, kmd or tbu you want to create");
    }
    warnOfOwnParameters("tbu");
    return UpdateImageCommand(*this).run();
}
