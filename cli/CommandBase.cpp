#include "cli/CommandBase.h"

#include "files/openFile.h"
#include "files/parseNumber.h"

#include <cstdarg>

Flow failWith(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    Display::getInstance()->displayMessageV(MessageKind::error, format, arguments);
    va_end(arguments);
    return Flow::end(1);
}

bool CommandBase::openInput(const QString& path, FileData*& result) const {
    return openFile(tool.fileContext, path, result);
}

Flow CommandBase::readKey(const QStringList& params) {
    return continueIf(CommandLineTool::readBinaryFile(params.constFirst(), tool.key, 16));
}

Flow CommandBase::readAnyNonce(const QStringList& params) {
    return continueIf(CommandLineTool::readBinaryFile(params.constFirst(), tool.nonce, 0));
}

Flow CommandBase::readNonce12(const QStringList& params) {
    return continueIf(CommandLineTool::readBinaryFile(params.constFirst(), tool.nonce, 12));
}

Flow CommandBase::readNonce16(const QStringList& params) {
    return continueIf(CommandLineTool::readBinaryFile(params.constFirst(), tool.nonce, 16));
}

Flow CommandBase::setImageVersion(const QStringList& params) {
    if (!parseNumber(params.constFirst(), 0, tool.imageVersion)) {
        return failWith("Invalid Image version");
    }
    return tool.imageVersion > 255 ? failWith("Image version must be between 0 and 255") : Flow::goOn();
}

Flow CommandBase::setPvsOutput(const QStringList& params) {
    tool.outputPath = params.constFirst();
    return tool.outputPath.endsWith(QLatin1String(".pvs")) ? Flow::goOn()
                                                           : failWith("PVS file must have the .pvs extension");
}

bool isFirmware(const FileData& file) {
    return file.fileType == fileTypeBinary || file.fileType == fileTypeHex || file.fileType == fileTypeSrec ||
           file.fileType == fileTypeElf;
}
