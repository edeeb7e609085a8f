#include "cli/CommandBase.h"
#include "cli/commands.h"
#include "cli/imageListing.h"

namespace cli {

namespace {

/// The path of the command's file. Without a parameter the path is empty, and opening the file fails.
QString pathOf(const QStringList& params) {
    return params.isEmpty() ? QString() : params.constFirst();
}

Flow parseTbi(CommandLineTool& tool, const CommandCall& call) {
    const CommandBase command(tool, call);
    const QString path = pathOf(call.params);
    command.warnOfExtraParameters("Parse TBI");
    if (!command.openInput(path, tool.currentFile)) {
        return Flow::end(1);
    }
    if (tool.currentFile->fileType != fileTypeTbi && tool.currentFile->fileType != fileTypeXtbi) {
        return failRun("Unable to parse an TBI/TBIx/XTBI image from this file's format : %s", qUtf8Printable(path));
    }
    parseTbiDisplay(*static_cast<FileTBI*>(tool.currentFile), path);
    return Flow::goOn();
}

Flow parsePvsTbi(CommandLineTool& tool, const CommandCall& call) {
    CommandBase(tool, call).warnOfExtraParameters("Parse PVS TBI");
    return parsePvsTbiDisplay(tool, pathOf(call.params));
}

}  // namespace

constinit const Command parseTbiCommand = {{"-ptbi", "--parse-tbi"}, parseTbi, 1};
constinit const Command parsePvsTbiCommand = {{"-ppvs-tbi", "--parse-pvs-tbi"}, parsePvsTbi, 1};

}  // namespace cli
