#include "cli/CommandBase.h"
#include "files/outputFile.h"

#include <QFileInfo>

namespace {

struct BackupCommand : CommandBase {
    using CommandBase::CommandBase;

    QString input;
    QString output;

    Flow run();
    Flow setInput(const QStringList& params);
    Flow setOutput(const QStringList& params);
};

constexpr OptionRow<BackupCommand> optionRows[] = {
    {"-in", "--in", "input", "You need to specify a file with the -in/--in option", &BackupCommand::setInput},
    {"-o", "--out", "out", "You need to specify a file with the -out/--out option", &BackupCommand::setOutput},
};

Flow BackupCommand::setInput(const QStringList& params) {
    input = params.constFirst();
    return QFileInfo(input).suffix() == QLatin1String("json")
               ? Flow::goOn()
               : failWith("Backup input file must have the .json extension");
}

Flow BackupCommand::setOutput(const QStringList& params) {
    output = params.constFirst();
    return Flow::goOn();
}

Flow BackupCommand::run() {
    const Flow flow = walkOptions(tool, *this, optionRows, nullptr, given);
    if (!flow.ends() && isSameFile(input, output)) {
        return failWith("The output file %s is the input file", qUtf8Printable(output));
    }
    return flow.ends() ? flow : continueIf(tool.preparation.backupPreparation(input, output) == 0);
}

}  // namespace

Flow CommandLineTool::runBackupImage() {
    warnOfExtraParameters("Parse TBI");
    return BackupCommand(*this).run();
}
