#include "cli/CommandLineTool.h"

#include "cli/CommandBase.h"
#include "cli/usageText.h"
#include "display/Display.h"
#include "files/largePages.h"
#include "files/outputFile.h"
#include "files/readExactly.h"
#include "files/wipe.h"
#include "formats/formatTable.h"
#include "obkey/Obkey.h"

#include <QCoreApplication>
#include <QFile>
#include <QStringDecoder>

#include <algorithm>
#include <array>

namespace {

/// One step of the chain: the words that call it, the one tried first in front, and what it does.
struct ChainStep {
    std::array<const char*, 3> names;
    Flow (CommandLineTool::*run)();
};

// The order is part of the tool's behaviour: a command that lets the chain go on leaves its data to those below it.
constexpr std::array chain = {
    ChainStep{{"-h", "-?", "--help"}, &CommandLineTool::runHelp},
    ChainStep{{"-l", "--log"}, &CommandLineTool::runLog},
    ChainStep{{"-gpdata", "--gpdata"}, &CommandLineTool::runPersonalizationData},
    ChainStep{{"-tbi", "--tbi"}, &CommandLineTool::runInstallImage},
    ChainStep{{"-sign", "--sign"}, &CommandLineTool::runSign},
    ChainStep{{"-tbu", "--tbu"}, &CommandLineTool::runUpdateImage},
    ChainStep{{"-dcu", "--dcu"}, &CommandLineTool::runMemoryCipher},
    ChainStep{{"-pvs", "--pvs"}, &CommandLineTool::runProvisioningPayload},
    ChainStep{{"-keygen", "--keygen"}, &CommandLineTool::runKeyGeneration},
    ChainStep{{"-signbin", "--signbin"}, &CommandLineTool::runBinarySigning},
    ChainStep{{"-hsm", "--hsm"}, &CommandLineTool::runHsm},
    ChainStep{{"-pb", "--pb"}, &CommandLineTool::runImageTemplate},
    ChainStep{{"-obk", "--obk"}, &CommandLineTool::runObkeyTemplates},
    ChainStep{{"-genkey", "--generatekey"}, &CommandLineTool::runKeyTemplate},
    ChainStep{{"-ptbi", "--parse-tbi"}, &CommandLineTool::runParseTbi},
    ChainStep{{"-ppvs-tbi", "--parse-pvs-tbi"}, &CommandLineTool::runParsePvsTbi},
    ChainStep{{"-pvs-tbi", "--pvs-tbi"}, &CommandLineTool::runProvisioningImage},
    ChainStep{{"-backupgen", "--backup-gen"}, &CommandLineTool::runBackupImage},
};

/// What Qt has to say is for whoever reads the log; the user gets the tool's own message.
void logQtMessage(QtMsgType /*type*/, const QMessageLogContext& /*context*/, const QString& text) {
    displayMessage(MessageKind::verbose2, "%s", qUtf8Printable(text));
}

/// Whether the file at `path`, which a log empties, is one that another option names.
bool isNamedBesideLog(const QList<CliOption>& options, const QString& path) {
    const auto isLog = [&path](const QString& param) { return isSameFile(path, param); };
    return std::any_of(options.begin(), options.end(), [&isLog](const CliOption& option) {
        return option.name != QLatin1String("-l") && option.name != QLatin1String("--log") &&
               std::any_of(option.params.begin(), option.params.end(), isLog);
    });
}

/// Takes the arguments as they were given, a byte order mark at the start of a name too. One in another encoding would
/// come out as the name of another file: false, with a message.
bool decodeArguments(int argc, char** argv, QStringList& arguments) {
    for (int i = 0; i < argc; ++i) {
        QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::ConvertInitialBom);
        const QString argument = decoder(QByteArrayView(argv[i]));
        if (i > 0 && argument.toUtf8() != argv[i]) {
            return reportError("Argument %d is not in UTF-8", i);
        }
        arguments.append(argument);
    }
    return true;
}

void printBanner() {
    displayMessage(MessageKind::title, "      -------------------------------------------------------------------");
    displayMessage(MessageKind::title, "                       QVORA Sealed Bundle Builder v%s                  ",
                   qUtf8Printable(QCoreApplication::applicationVersion()));
    displayMessage(MessageKind::title, "      -------------------------------------------------------------------\n");
}

}  // namespace

CommandLineTool::CommandLineTool() {
    fileContext.formats = formatTable();
}

CommandLineTool::~CommandLineTool() {
    wipe(key);
    wipe(nonce);
    wipe(persoData);
}

int CommandLineTool::run(int argc, char** argv) {
    prepareHeap();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("QVORA Sealed Bundle Builder"));
    QCoreApplication::setApplicationVersion(QStringLiteral("2.19.0"));
    QCoreApplication::setOrganizationName(QStringLiteral("Veltrane"));
    Display::getInstance()->callback = displayCallback;
    preparation.setDisplayCallback(displayCallback);
    qInstallMessageHandler(logQtMessage);
    printBanner();
    QStringList arguments;
    const int status = decodeArguments(argc, argv, arguments) ? runArguments(arguments) : 1;
    Display::getInstance()->closeLog();
    return status;
}

int CommandLineTool::runArguments(const QStringList& arguments) {
    if (arguments.size() <= 1) {
        printUsage();
        return 0;
    }
    scanArguments(arguments);
    return walkChain().status();
}

void CommandLineTool::scanArguments(const QStringList& arguments) {
    for (const QString& argument : arguments) {
        const QString word = argument.trimmed();
        if (word.startsWith(u'-')) {
            options.append({word, {}});
        } else if (!options.isEmpty()) {
            options.last().params.append(word);
        }
    }
}

Flow CommandLineTool::walkChain() {
    const auto isCalled = [this](const ChainStep& step) {
        return std::any_of(step.names.begin(), step.names.end(),
                           [this](const char* name) { return name != nullptr && anyPresent({name}); });
    };
    for (const ChainStep& step : chain) {
        if (isCalled(step)) {
            const Flow flow = (this->*step.run)();
            if (flow.ends()) {
                return flow;
            }
        }
    }
    if (std::any_of(chain.begin(), chain.end(), isCalled)) {
        return Flow::end(0);
    }
    reportError("You need to specify one of the help, tbi, kmd, tbu, pvs, pvs-tbi, backup-gen or hsm options");
    return Flow::end(1);
}

bool CommandLineTool::optionPresent(const char* name, QStringList& outParams) {
    const QLatin1String wanted(name);
    for (qsizetype i = 0; i < options.size(); ++i) {
        if (options.at(i).name == wanted) {
            currentIndex = i;
            outParams = options.at(i).params;
            return true;
        }
    }
    return false;
}

bool CommandLineTool::anyPresent(std::initializer_list<const char*> names) {
    return std::any_of(names.begin(), names.end(),
                       [this](const char* name) { return optionPresent(name, currentParams); });
}

bool CommandLineTool::readBinaryFile(const QString& path, QByteArray& outBytes, qint64 expectedSize) {
    QFile file(path);
    if (!file.exists()) {
        return reportError("The file %s does not exist, please check the file's path", qUtf8Printable(path));
    }
    // Unbuffered: no key is left behind in a buffer that nobody wipes.
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return reportError("Unable to open the file %s", qUtf8Printable(path));
    }
    if (expectedSize != 0 && file.size() != expectedSize) {
        return reportError("Size of %s is expected to be %d (found %d)", qUtf8Printable(path),
                           static_cast<int>(expectedSize), static_cast<int>(file.size()));
    }
    QByteArray bytes;
    if (readExactly(file, file.size(), bytes) != ReadStatus::done) {
        return reportError("Unable to read the file %s", qUtf8Printable(path));
    }
    wipe(outBytes);
    outBytes = std::move(bytes);
    return true;
}

void CommandLineTool::warnOfOwnParameters(const char* commandWord) const {
    if (!currentParams.isEmpty()) {
        displayMessage(MessageKind::warning, "Parameters of the %s option are ignored", commandWord);
    }
}

void CommandLineTool::warnOfExtraParameters(const char* commandName) const {
    if (currentParams.size() <= 1) {
        return;
    }
    QString others;
    for (const QString& param : currentParams.sliced(1)) {
        others += param + u' ';
    }
    displayMessage(MessageKind::warning, "There is no need for these parameters with %s command: %s", commandName,
                   qUtf8Printable(others));
}

Flow CommandLineTool::runHelp() {
    if (!currentParams.isEmpty()) {
        displayMessage(MessageKind::warning, "Other arguments ignored");
    }
    printUsage();
    return Flow::end(0);
}

Flow CommandLineTool::runLog() {
    QString path = QCoreApplication::applicationDirPath() + QStringLiteral("/trace.log");
    if (currentParams.isEmpty()) {
        displayMessage(MessageKind::warning, "No log file name given, logs saved under trace.log");
    } else {
        path = currentParams.constFirst();
    }
    if (currentParams.size() > 1) {
        displayMessage(MessageKind::warning,
                       "Only one parameter must be given with the log option, others are ignored");
    }
    if (isNamedBesideLog(options, path)) {
        return failWith("The log file %s is named by another option as well", qUtf8Printable(path));
    }
    Display::getInstance()->openLog(path);
    return Flow::goOn();
}
