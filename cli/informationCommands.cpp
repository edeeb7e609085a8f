#include "cli/CommandBase.h"
#include "cli/commands.h"
#include "cli/usageText.h"
#include "files/outputFile.h"

#include <QCoreApplication>

#include <algorithm>

namespace cli {

namespace {

Flow showHelp(CommandLineTool& /*tool*/, const CommandCall& call) {
    if (!call.params.isEmpty()) {
        displayMessage(MessageKind::warning, "Other arguments ignored");
    }
    printUsage();
    return Flow::end(0);
}

/// The files that an option names, and the files that a command derives from them. The first parameters of an option
/// name files. If several commands have the option, the one with the most file parameters decides how many.
QStringList filesOf(const CliOption& given) {
    const auto isName = [&given](const char* word) { return word != nullptr && given.name == QLatin1String(word); };
    int count = 0;
    QStringList files;
    for (const Command* const command : commandChain()) {
        if (std::any_of(command->words.begin(), command->words.end(), isName)) {
            count = std::max(count, command->files);
        }
        for (const OptionNames& option : command->options) {
            if (!isName(option.shortName) && !isName(option.longName)) {
                continue;
            }
            count = std::max(count, option.files);
            if (option.derived != nullptr && !given.params.isEmpty()) {
                files.append(option.derived(given.params.constFirst()));
            }
        }
    }
    return files + given.params.first(std::min<qsizetype>(count, given.params.size()));
}

/// Whether another option names the file at `path`; opening the log would empty this file. The option may be anywhere
/// on the command line. Its file may be an input or an output, and needn't exist yet.
bool isNamedBesideLog(const QList<CliOption>& options, const QString& path) {
    return std::any_of(options.begin(), options.end(), [&path](const CliOption& option) {
        const QStringList files = filesOf(option);
        return std::any_of(files.begin(), files.end(), [&path](const QString& file) { return isSameFile(path, file); });
    });
}

Flow openLog(CommandLineTool& tool, const CommandCall& call) {
    QString path = QCoreApplication::applicationDirPath() + QStringLiteral("/trace.log");
    if (call.params.isEmpty()) {
        displayMessage(MessageKind::warning, "No log file name given, logs saved under trace.log");
    } else {
        path = call.params.constFirst();
    }
    if (call.params.size() > 1) {
        displayMessage(MessageKind::warning,
                       "Only one parameter must be given with the log option, others are ignored");
    }
    if (isNamedBesideLog(tool.options, path)) {
        return failRun("The log file %s is named by another option as well", qUtf8Printable(path));
    }
    Display::getInstance()->openLog(path);
    return Flow::goOn();
}

}  // namespace

constinit const Command helpCommand = {{"-h", "-?", "--help"}, showHelp};
constinit const Command logCommand = {{"-l", "--log"}, openLog};

}  // namespace cli
