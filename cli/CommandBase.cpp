#include "cli/CommandBase.h"

#include "files/openFile.h"
#include "files/outputFile.h"
#include "files/parseNumber.h"

#include <algorithm>

namespace cli {

void CommandBase::warnOfOwnParameters(const char* commandWord) const {
    if (!call.params.isEmpty()) {
        displayMessage(MessageKind::warning, "Parameters of the %s option are ignored", commandWord);
    }
}

void CommandBase::warnOfExtraParameters(const char* commandName) const {
    if (call.params.size() <= 1) {
        return;
    }
    QString others;
    for (const QString& param : call.params.sliced(1)) {
        others += param + u' ';
    }
    displayMessage(MessageKind::warning, "There is no need for these parameters with %s command: %s", commandName,
                   qUtf8Printable(others));
}

bool CommandBase::openInput(const QString& path, FileData*& result) const {
    return openFile(tool.fileContext, path, result);
}

bool CommandBase::readSecret(const QString& path, QByteArray& bytes, qint64 expectedSize) {
    secretPaths.append(path);
    return CommandLineTool::readBinaryFile(path, bytes, expectedSize);
}

bool CommandBase::mayWrite(const QString& path) const {
    const auto secret = std::find_if(secretPaths.begin(), secretPaths.end(),
                                     [&path](const QString& candidate) { return isSameFile(path, candidate); });
    return secret == secretPaths.end() ||
           reportError("The output file %s would replace the file %s", qUtf8Printable(path), qUtf8Printable(*secret));
}

Flow CommandBase::readKey(const QStringList& params) {
    return continueIf(readSecret(params.constFirst(), tool.key, 16));
}

Flow CommandBase::readAnyNonce(const QStringList& params) {
    return continueIf(readSecret(params.constFirst(), tool.nonce, 0));
}

Flow CommandBase::readNonce12(const QStringList& params) {
    return continueIf(readSecret(params.constFirst(), tool.nonce, 12));
}

Flow CommandBase::readNonce16(const QStringList& params) {
    return continueIf(readSecret(params.constFirst(), tool.nonce, 16));
}

Flow CommandBase::setImageVersion(const QStringList& params) {
    if (!parseNumber(params.constFirst(), 0, tool.imageVersion)) {
        return failRun("Invalid Image version");
    }
    return tool.imageVersion > 255 ? failRun("Image version must be between 0 and 255") : Flow::goOn();
}

Flow CommandBase::setPvsOutput(const QStringList& params) {
    tool.outputPath = params.constFirst();
    return tool.outputPath.endsWith(QLatin1String(".pvs")) ? Flow::goOn()
                                                           : failRun("PVS file must have the .pvs extension");
}

bool isFirmware(const FileData& file) {
    return file.fileType == fileTypeBinary || file.fileType == fileTypeHex || file.fileType == fileTypeSrec ||
           file.fileType == fileTypeElf;
}

}  // namespace cli
