#include "cli/CommandBase.h"
#include "cli/commands.h"
#include "files/outputFile.h"

#include <QFileInfo>

namespace cli {

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
    {"-in", "--in", "input", "You need to specify a file with the -in/--in option", &BackupCommand::setInput, 1},
    {"-o", "--out", "out", "You need to specify a file with the -out/--out option", &BackupCommand::setOutput, 1},
};

Flow BackupCommand::setInput(const QStringList& params) {
    input = params.constFirst();
    return QFileInfo(input).suffix() == QLatin1String("json")
               ? Flow::goOn()
               : failRun("Backup input file must have the .json extension");
}

Flow BackupCommand::setOutput(const QStringList& params) {
    output = params.constFirst();
    return Flow::goOn();
}

Flow BackupCommand::run() {
    warnOfExtraParameters("Parse TBI");
    const Flow flow = walkOptions(*this, optionRows, nullptr);
    if (!flow.ends() && isSameFile(input, output)) {
        return failRun("The output file %s is the input file", qUtf8Printable(output));
    }
    return flow.ends() ? flow : continueIf(tool.preparation.backupPreparation(input, output) == 0);
}

constexpr auto optionNames = namesOf(optionRows);

}  // namespace

constinit const Command backupCommand = {{"-backupgen", "--backup-gen"}, runCommandOf<BackupCommand>, 0, optionNames};

}  // namespace cli
