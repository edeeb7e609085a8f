#include "cli/CommandLineTool.h"

#include "Preparation/primitives/opensslObjects.h"
#include "cli/commands.h"
#include "cli/failRun.h"
#include "cli/usageText.h"
#include "display/Display.h"
#include "files/largePages.h"
#include "files/memoryFile.h"
#include "files/readExactly.h"
#include "files/wipe.h"
#include "formats/formatTable.h"
#include "obkey/Obkey.h"

#include <QCoreApplication>
#include <QFile>
#include <QStringDecoder>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <span>

namespace cli {

namespace {

/// Sends messages of Qt to the log; the user gets the tool's own messages.
void logQtMessage(QtMsgType /*type*/, const QMessageLogContext& /*context*/, const QString& text) {
    displayMessage(MessageKind::verbose2, "%s", qUtf8Printable(text));
}

/// Decodes the arguments and keeps a byte order mark at the start of a name. Reports an argument that isn't UTF-8 and
/// returns false, because the decoded text could name another file.
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
    for (BackupRecord& backup : backupSections) {
        wipeRecords(backup.sections);
    }
}

int CommandLineTool::run(int argc, char** argv) {
    prepareHeap();
    wipeFreedOpensslMemory();
    std::optional<QCoreApplication> application;
    if (QCoreApplication::instance() == nullptr) {
        application.emplace(argc, argv);
    }
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
    if (!Display::getInstance()->finishOutput()) {
        std::fputs("Standard output could not be written\n", stderr);
        return status == 0 ? 1 : status;
    }
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
    bool anyCalled = false;
    for (const Command* const command : commandChain()) {
        CommandCall call;
        if (!isCalled(*command, call)) {
            continue;
        }
        anyCalled = true;
        const Flow flow = command->run(*this, call);
        if (flow.ends()) {
            return flow;
        }
    }
    return anyCalled
               ? Flow::end(0)
               : failRun("You need to specify one of the help, tbi, kmd, tbu, pvs, pvs-tbi, backup-gen or hsm options");
}

bool CommandLineTool::isCalled(const Command& command, CommandCall& call) {
    const bool called = std::any_of(command.words.begin(), command.words.end(), [this](const char* word) {
        return word != nullptr && optionPresent(word, currentParams);
    });
    if (called) {
        const std::span<const CliOption> all(options.constData(), static_cast<std::size_t>(options.size()));
        call = {currentParams, all.subspan(static_cast<std::size_t>(currentIndex) + 1)};
    }
    return called;
}

qsizetype CommandLineTool::indexOf(const char* name) const {
    const QLatin1String wanted(name);
    const auto found = std::find_if(options.begin(), options.end(),
                                    [wanted](const CliOption& option) { return option.name == wanted; });
    return found == options.end() ? -1 : found - options.begin();
}

bool CommandLineTool::optionPresent(const char* name, QStringList& outParams) {
    const qsizetype index = indexOf(name);
    if (index < 0) {
        return false;
    }
    currentIndex = index;
    outParams = options.at(index).params;
    return true;
}

bool CommandLineTool::isGiven(std::initializer_list<const char*> names) const {
    return std::any_of(names.begin(), names.end(), [this](const char* name) { return indexOf(name) >= 0; });
}

bool CommandLineTool::readBinaryFile(const QString& path, QByteArray& outBytes, qint64 expectedSize) {
    QFile file(path);
    if (!file.exists()) {
        return reportError("The file %s does not exist, please check the file's path", qUtf8Printable(path));
    }
    // The file is unbuffered, because a buffer that is never wiped could keep a key.
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return reportError("Unable to open the file %s", qUtf8Printable(path));
    }
    if (!takePipeWhole(file, path)) {
        return false;
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

}  // namespace cli
