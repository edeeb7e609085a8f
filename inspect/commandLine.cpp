#include "inspect/commandLine.h"

#include "inspect/commands.h"

#include <QCoreApplication>
#include <QStringDecoder>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace inspect {

namespace {

struct OptionRow {
    const char* names;     ///< separated by blanks; the last one is the option's name
    const char* value;     ///< null for a switch
    bool isRepeated;       ///< may be given several times
    const char* commands;  ///< the commands that accept it, separated by blanks
    const char* help;
};

constexpr std::array options = {
    OptionRow{"json", nullptr, false, "show verify extract diff", "one JSON document instead of text"},
    OptionRow{"as", "FORMAT", false, "show verify extract diff", "read a file as this format, whatever its content"},
    OptionRow{"payload", "FILE", false, "show verify extract diff", "the second file of a pair, such as the .tbu file"},
    OptionRow{"payload-b", "FILE", false, "diff", "the second file of the second pair"},
    OptionRow{"key", "KEY", false, "show verify extract diff",
              "the image key, 16 bytes: a path, \"-\" or /proc/self/fd/N"},
    OptionRow{"key-b", "KEY", false, "diff", "the key of the second file, if it has another"},
    OptionRow{"keys", "FOLDER", false, "show verify extract diff",
              "find the keys that fit among the files of a folder"},
    OptionRow{"site-secret", "FILE", false, "show verify",
              "show image keys and secrets by the fingerprints of a production ledger"},
    OptionRow{"nonce", "NONCE", false, "verify", "the nonce that the image was made with"},
    OptionRow{"public", "FILE", false, "show verify extract diff",
              "the public key: PEM, X and Y (64 bytes), or a root key table hash"},
    OptionRow{"private", "PEM", false, "show verify extract diff",
              "the private key that opens personalization data and encrypted MCUboot images"},
    OptionRow{"address", "ADDRESS", false, "show verify extract diff",
              "where a memory cipher image starts, hexadecimal"},
    OptionRow{"mode", "MODE", false, "show verify extract diff", "how it was encrypted: 0, 1 or 2"},
    OptionRow{"contents", nullptr, false, "show", "show what the parts of a file hold; any key has the same effect"},
    OptionRow{"devices", "FOLDER", false, "show verify diff",
              "name option words by the device descriptions of a folder"},
    OptionRow{"device", "ID", false, "show verify diff",
              "the device, hexadecimal, if several have as many option words"},
    OptionRow{"texts", "COUNT", false, "show", "print the first texts of each part of firmware"},
    OptionRow{"reveal", nullptr, false, "show", "print secrets; refused if others could read the output"},
    OptionRow{"against", nullptr, false, "verify", "compare the contents with their sources:"},
    OptionRow{"firmware", "FILE[@ADDRESS]", true, "verify", "ELF, HEX, S-Record, or raw with its hexadecimal address"},
    OptionRow{"option-bytes", "FILE", false, "verify", "the table of option bytes"},
    OptionRow{"module", "FILE", true, "verify", "a module, in the order of the image"},
    OptionRow{"blob", "FILE", true, "verify", "the secrets"},
    OptionRow{"backup", "FILE[@ADDRESS]", true, "verify",
              "a backup image in the order of the image, with the hexadecimal address of its memory"},
    OptionRow{"app", "FILE", false, "verify", "the application that a memory cipher image was made from"},
    OptionRow{"dump", "FILE[@ADDRESS]", true, "verify",
              "compare firmware and modules with a device's memory, read back"},
    OptionRow{"erased", "BYTE", false, "verify", "the value of erased memory, hexadecimal; FF if it isn't given"},
    OptionRow{"protected", "FROM-TO", true, "verify", "hexadecimal addresses that the dump doesn't count for"},
    OptionRow{"policy", "FILE", false, "verify",
              "demand the rules of a policy document; these options are such rules, too:"},
    OptionRow{"require", "PROOF", true, "verify", "digest, signature, tag or comparison"},
    OptionRow{"image-key", "FINGERPRINT", true, "verify", "an allowed image key, by its fingerprint"},
    OptionRow{"public-key", "FINGERPRINT", true, "verify", "an allowed public key, by its fingerprint"},
    OptionRow{"least-version", "VERSION", false, "verify", "such as 3 or 1.2.3"},
    OptionRow{"largest-size", "BYTES", false, "verify", "decimal"},
    OptionRow{"memory", "FROM-TO", true, "verify", "hexadecimal addresses that areas may fill"},
    OptionRow{"device-memory", nullptr, false, "verify", "areas fill only the memories of --device"},
    OptionRow{"no-overlap", nullptr, false, "verify", "no module overlaps firmware"},
    OptionRow{"option-word", "WORD[/MASK]=VALUE", true, "verify",
              "a word of the option bytes, counted from 1, or a REGISTER.FIELD of --device, has a hexadecimal value; "
              "!= for a value that it must not have"},
    OptionRow{"allow-irreversible", nullptr, false, "verify", "lift the rules about values that a device can't undo"},
    OptionRow{"o output", "FOLDER", false, "extract", "the folder to make"},
    OptionRow{"except-signature", nullptr, false, "diff", "compare everything except the signatures"},
    OptionRow{"bytes", "COUNT", false, "diff", "print the first bytes of each range of memory that differs"},
    OptionRow{"exit-code-only", nullptr, false, "diff", "print nothing; the status is the answer"},
};

QString nameOf(const OptionRow& row) {
    return QString::fromLatin1(row.names).section(u' ', -1);
}

bool isOptionOf(const OptionRow& row, const QString& command) {
    return QString::fromLatin1(row.commands).split(u' ').contains(command);
}

/// Adds the options of a command, or all if it is empty.
void addOptions(QCommandLineParser& parser, const QString& command = {}) {
    for (const OptionRow& row : options) {
        if (!command.isEmpty() && !isOptionOf(row, command)) {
            continue;
        }
        const QStringList names = QString::fromLatin1(row.names).split(u' ');
        parser.addOption(row.value == nullptr ? QCommandLineOption(names, QString::fromLatin1(row.help))
                                              : QCommandLineOption(names, QString::fromLatin1(row.help),
                                                                   QString::fromLatin1(row.value)));
    }
}

/// The help about a command, or about all if it is empty.
QString helpText(const QString& command) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Shows and proves every file that QVORA Sealed Bundle Builder makes."));
    parser.addHelpOption();
    parser.addVersionOption();
    const bool isGeneral = command.isEmpty();
    parser.addPositionalArgument(
        isGeneral ? QStringLiteral("COMMAND") : command,
        isGeneral ? QStringLiteral("what to do; COMMAND --help lists its options only") : QStringLiteral("see below"));
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("files, \"-\" for standard input"),
                                 QStringLiteral("FILE..."));
    addOptions(parser, command);
    QString text = parser.helpText();
    text += QStringLiteral("\nCommands:\n");
    for (const CommandRow& row : commandTable()) {
        text += QStringLiteral("  %1  %2\n").arg(QLatin1String(row.name), -9).arg(QLatin1String(row.help));
    }
    text += QStringLiteral("\nFormats:\n");
    for (const FormatRow& row : formatTable()) {
        text += QStringLiteral("  %1  %2\n").arg(QLatin1String(row.name), -22).arg(QLatin1String(row.title));
    }
    return text + QStringLiteral("\nStatus: 0 proven or no difference, 1 wrong or a difference, 2 can't be judged.\n");
}

/// Describes the fault of the command line; empty if there is none.
QString usageFault(const QCommandLineParser& parser) {
    const QStringList words = parser.positionalArguments();
    if (words.isEmpty()) {
        return QStringLiteral("a command is missing; --help lists them");
    }
    if (commandByName(words.constFirst()) == nullptr) {
        return QStringLiteral("unknown command %1; --help lists them").arg(printable(words.constFirst()));
    }
    if (words.size() < 2) {
        return QStringLiteral("a file is missing");
    }
    const CommandRow& command = *commandByName(words.constFirst());
    if (command.files != 0 && words.size() - 1 != command.files) {
        return QStringLiteral("%1 needs %2")
            .arg(words.constFirst())
            .arg(command.files == 1 ? QStringLiteral("one file") : QStringLiteral("two files"));
    }
    for (const OptionRow& row : options) {
        const QString name = nameOf(row);
        if (!parser.isSet(name)) {
            continue;
        }
        if (!isOptionOf(row, words.constFirst())) {
            return QStringLiteral("%1 doesn't accept --%2").arg(words.constFirst(), name);
        }
        if (row.value != nullptr && !row.isRepeated && parser.values(name).size() > 1) {
            return QStringLiteral("--%1 can be given once only").arg(name);
        }
    }
    const QString as = parser.value(QStringLiteral("as"));
    if (parser.isSet(QStringLiteral("as")) && formatByName(as) == nullptr) {
        return QStringLiteral("unknown format %1; --help lists them").arg(printable(as));
    }
    return {};
}

void print(const char* kind, const std::vector<Failure>& failures) {
    for (const Failure& failure : failures) {
        const QString place = failure.file.isEmpty() ? QString() : printable(failure.file) + QStringLiteral(": ");
        std::fprintf(stderr, "qvora-inspect: %s%s%s\n", kind, qUtf8Printable(place),
                     qUtf8Printable(printable(failure.text)));
    }
}

/// Returns `status`, or `statusUndecided` with a message if the output couldn't be written completely.
int finishOutput(int status) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return status;
    }
    std::fprintf(stderr, "qvora-inspect: the output can't be written\n");
    return statusUndecided;
}

/// Whether the standard output is a terminal, or a file that other users may read.
bool isOutputOpen() {
    struct stat status {};
    if (isatty(STDOUT_FILENO) == 1 || fstat(STDOUT_FILENO, &status) != 0) {
        return true;
    }
    const bool isNamed = S_ISREG(status.st_mode) || S_ISFIFO(status.st_mode);
    return isNamed && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0;
}

int write(const Report& report, bool asJson, bool isQuiet = false) {
    const QByteArray text = asJson ? printJson(report) : printText(report);
    print("warning: ", report.warnings);
    print("", report.failures);
    if (isQuiet) {
        return report.status;
    }
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stdout);
    return finishOutput(report.status);
}

Report runCommand(const QCommandLineParser& parser, bool isParsed, Kept* kept) {
    Report report;
    report.command = parser.positionalArguments().value(0);
    if (!isParsed) {
        report.failures.push_back({"usage", {}, printable(parser.errorText())});
        report.status = statusUndecided;
        return report;
    }
    Call call(parser, report, kept);
    QString fault = usageFault(parser);
    if (!fault.isEmpty()) {
        call.fail("usage", {}, fault);
    } else if (call.readEvidence()) {
        const QStringList words = parser.positionalArguments();
        commandByName(words.constFirst())->run(call, words.sliced(1));
    }
    if (!report.failures.empty() && report.status != statusWrong) {
        report.status = statusUndecided;
    }
    return report;
}

}  // namespace

Report reportOf(const QStringList& arguments, Kept* kept) {
    QCommandLineParser parser;
    addOptions(parser);
    const bool isParsed = parser.parse(arguments);
    return runCommand(parser, isParsed, kept);
}

bool takesOption(const QString& command, const QString& option) {
    return std::any_of(options.begin(), options.end(),
                       [&](const OptionRow& row) { return nameOf(row) == option && isOptionOf(row, command); });
}

bool isUtf8(const char* argument) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded = decoder(QByteArrayView(argument));
    return !decoder.hasError() && !decoded.contains(QChar::ReplacementCharacter);
}

Report argumentFault(int number) {
    Report report;
    report.failures.push_back({"usage", {}, QStringLiteral("argument %1 is not in UTF-8").arg(number)});
    report.status = statusUndecided;
    return report;
}

int refuseArgument(int number, bool asJson) {
    return write(argumentFault(number), asJson);
}

int run(const QStringList& arguments) {
    QCommandLineParser parser;
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    addOptions(parser);
    const bool isParsed = parser.parse(arguments);
    if (isParsed && parser.isSet(help)) {
        const QString word = parser.positionalArguments().value(0);
        std::fputs(qUtf8Printable(helpText(commandByName(word) != nullptr ? word : QString())), stdout);
        return finishOutput(statusGood);
    }
    if (isParsed && parser.isSet(version)) {
        std::printf("qvora-inspect %s\n", qUtf8Printable(QCoreApplication::applicationVersion()));
        return finishOutput(statusGood);
    }
    if (isParsed && parser.isSet(QStringLiteral("reveal")) && isOutputOpen()) {
        Report report;
        report.failures.push_back(
            {"usage", {}, QStringLiteral("--reveal needs a pipe, or a file that only you can read, as its output")});
        report.status = statusUndecided;
        return write(report, parser.isSet(QStringLiteral("json")));
    }
    const bool isQuiet = isParsed && parser.isSet(QStringLiteral("exit-code-only"));
    return write(runCommand(parser, isParsed, nullptr), arguments.contains(QLatin1String("--json")), isQuiet);
}

}  // namespace inspect
