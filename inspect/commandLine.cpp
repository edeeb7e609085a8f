#include "inspect/commandLine.h"

#include "files/parseNumber.h"
#include "inspect/Report.h"
#include "inspect/input.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

namespace inspect {

namespace {

constexpr int statusGood = 0;
constexpr int statusWrong = 1;
constexpr int statusUndecided = 2;

/// A file that was read, and what was found in it.
struct Opened {
    QByteArray bytes;
    Source source;
    Description description;
};

/// One call: its options, and what it has to tell.
class Call {
  public:
    Call(const QCommandLineParser& parser, Report& report) : parser_(parser), report_(report) {}

    /// The message is for the user; whoever gets false only returns.
    bool fail(const char* code, const QString& file, const QString& text) {
        report_.failures.push_back({code, file, text});
        return false;
    }
    bool readEvidence();
    bool open(const QString& path, Opened& opened);

    [[nodiscard]] const Evidence& evidence() const { return evidence_; }
    [[nodiscard]] Report& report() { return report_; }

  private:
    using SecretReader = bool (*)(const QString& path, QByteArray& key, QString& fault, QString& warning);

    bool claimStandardInput(const QString& path);
    bool readSecret(const char* option, SecretReader read, QByteArray& secret);
    bool readWhole(const char* option, std::optional<QByteArray>& bytes);
    bool readMemoryUse();

    const QCommandLineParser& parser_;
    Report& report_;
    Evidence evidence_;
    bool isStandardInputTaken_ = false;
};

bool Call::claimStandardInput(const QString& path) {
    if (path != QLatin1String("-")) {
        return true;
    }
    if (isStandardInputTaken_) {
        return fail("usage", {}, QStringLiteral("standard input can be given once only"));
    }
    return isStandardInputTaken_ = true;
}

bool Call::readSecret(const char* option, SecretReader read, QByteArray& secret) {
    const QString name = QString::fromLatin1(option);
    if (!parser_.isSet(name)) {
        return true;
    }
    const QString path = parser_.value(name);
    QString fault;
    QString warning;
    if (!claimStandardInput(path)) {
        return false;
    }
    if (!read(path, secret, fault, warning)) {
        return fail("badKey", path, fault);
    }
    if (!warning.isEmpty() && name != QLatin1String("public")) {
        std::fprintf(stderr, "qvora-inspect: warning: %s: %s\n", qUtf8Printable(printable(path)),
                     qUtf8Printable(warning));
    }
    return true;
}

bool Call::readWhole(const char* option, std::optional<QByteArray>& bytes) {
    const QString name = QString::fromLatin1(option);
    if (!parser_.isSet(name)) {
        return true;
    }
    const QString path = parser_.value(name);
    QString fault;
    if (!claimStandardInput(path)) {
        return false;
    }
    if (!readInput(path, bytes.emplace(), fault)) {
        return fail("unreadable", path, fault);
    }
    return true;
}

bool Call::readMemoryUse() {
    const QString address = parser_.value(QStringLiteral("address"));
    const QString mode = parser_.value(QStringLiteral("mode"));
    if (address.isEmpty() && mode.isEmpty()) {
        return !evidence_.app || fail("usage", {}, QStringLiteral("--app needs --address and --mode"));
    }
    MemoryUse use;
    if (!parseNumber(address, 16, use.address) || !parseNumber(mode, 10, use.mode)) {
        return fail("usage", {}, QStringLiteral("--address takes a hexadecimal and --mode a decimal number"));
    }
    evidence_.memory = use;
    return true;
}

bool Call::readEvidence() {
    std::optional<QByteArray> nonce;
    if (!readSecret("key", readKey, evidence_.key) || !readWhole("nonce", nonce) ||
        !readSecret("public", readKeyFile, evidence_.publicKey) ||
        !readSecret("private", readKeyFile, evidence_.privateKey) || !readWhole("app", evidence_.app)) {
        return false;
    }
    evidence_.hasNonce = nonce.has_value();
    evidence_.nonce = nonce.value_or(QByteArray());
    return readMemoryUse();
}

bool Call::open(const QString& path, Opened& opened) {
    QString fault;
    if (!claimStandardInput(path)) {
        return false;
    }
    if (!readInput(path, opened.bytes, fault)) {
        return fail("unreadable", path, fault);
    }
    opened.source.path = path;
    opened.source.bytes = opened.bytes;
    const FormatRow* as = nullptr;
    if (parser_.isSet(QStringLiteral("as"))) {
        as = formatByName(parser_.value(QStringLiteral("as")));
    }
    opened.description = describe(opened.source, as);
    if (opened.description.format == nullptr) {
        return fail("unknownFormat", path, QStringLiteral("no known format; --as names one"));
    }
    return true;
}

void show(Call& call, const QStringList& files) {
    for (const QString& path : files) {
        Opened opened;
        if (call.open(path, opened)) {
            call.report().files.push_back(std::move(opened.description));
        }
    }
    const auto& shown = call.report().files;
    call.report().status = std::any_of(shown.begin(), shown.end(), hasErrors) ? statusWrong : statusGood;
}

void verify(Call& call, const QStringList& files) {
    for (const QString& path : files) {
        Opened opened;
        if (call.open(path, opened)) {
            prove(opened.source, call.evidence(), opened.description);
            call.report().files.push_back(std::move(opened.description));
        }
    }
    Report& report = call.report();
    proveIvs(report.files);
    const auto count = [&report](Verdict verdict) {
        return std::count_if(report.files.begin(), report.files.end(), [verdict](const Description& description) {
            return judge(description).verdict == verdict;
        });
    };
    report.status = count(Verdict::wrong) > 0       ? statusWrong
                    : count(Verdict::undecided) > 0 ? statusUndecided
                                                    : statusGood;
}

struct CommandRow {
    const char* name;
    const char* help;
    void (*run)(Call& call, const QStringList& files);
};

constexpr std::array commands = {
    CommandRow{"show", "what stands in a file", show},
    CommandRow{"verify", "prove it, as far as its keys are given", verify},
};

struct OptionRow {
    const char* name;
    const char* value;  ///< null for a switch
    const char* help;
    const char* commands;  ///< those that take it, with blanks between
};

constexpr std::array options = {
    OptionRow{"json", nullptr, "one JSON document instead of text", "show verify"},
    OptionRow{"as", "FORMAT", "take the file for this format, whatever it looks like", "show verify"},
    OptionRow{"key", "KEY", "the image key, 16 bytes: a path, \"-\" or /proc/self/fd/N", "verify"},
    OptionRow{"nonce", "NONCE", "the nonce that the image was made with", "verify"},
    OptionRow{"public", "FILE", "the public key: PEM, or X and Y as 64 bytes", "verify"},
    OptionRow{"private", "PEM", "the private key that personalization data is opened with", "verify"},
    OptionRow{"app", "FILE", "the application that a memory cipher image was made from", "verify"},
    OptionRow{"address", "ADDRESS", "where a memory cipher image starts, hexadecimal", "verify"},
    OptionRow{"mode", "MODE", "how it was encrypted: 0, 1 or 2", "verify"},
};

const CommandRow* commandOf(const QString& name) {
    const auto row = std::find_if(commands.begin(), commands.end(), [&name](const CommandRow& candidate) {
        return name == QLatin1String(candidate.name);
    });
    return row == commands.end() ? nullptr : &*row;
}

void addOptions(QCommandLineParser& parser) {
    for (const OptionRow& row : options) {
        parser.addOption(row.value == nullptr
                             ? QCommandLineOption(QString::fromLatin1(row.name), QString::fromLatin1(row.help))
                             : QCommandLineOption(QString::fromLatin1(row.name), QString::fromLatin1(row.help),
                                                  QString::fromLatin1(row.value)));
    }
}

QString helpText(const QCommandLineParser& parser) {
    QString text = parser.helpText();
    text += QStringLiteral("\nCommands:\n");
    for (const CommandRow& row : commands) {
        text += QStringLiteral("  %1  %2\n").arg(QLatin1String(row.name), -9).arg(QLatin1String(row.help));
    }
    text += QStringLiteral("\nFormats:\n");
    for (const FormatRow& row : formatTable()) {
        text += QStringLiteral("  %1  %2\n").arg(QLatin1String(row.name), -20).arg(QLatin1String(row.title));
    }
    return text + QStringLiteral("\nStatus: 0 proven or no difference, 1 wrong or a difference, 2 can't be judged.\n");
}

/// What is wrong with the command line; empty if nothing is.
QString usageFault(const QCommandLineParser& parser) {
    const QStringList words = parser.positionalArguments();
    if (words.isEmpty()) {
        return QStringLiteral("a command is missing; --help lists them");
    }
    if (commandOf(words.constFirst()) == nullptr) {
        return QStringLiteral("unknown command %1; --help lists them").arg(printable(words.constFirst()));
    }
    if (words.size() < 2) {
        return QStringLiteral("a file is missing");
    }
    for (const OptionRow& row : options) {
        const QString name = QString::fromLatin1(row.name);
        if (!parser.isSet(name)) {
            continue;
        }
        if (!QString::fromLatin1(row.commands).split(u' ').contains(words.constFirst())) {
            return QStringLiteral("%1 takes no --%2").arg(words.constFirst(), name);
        }
        if (row.value != nullptr && parser.values(name).size() > 1) {
            return QStringLiteral("--%1 can be given once only").arg(name);
        }
    }
    const QString as = parser.value(QStringLiteral("as"));
    if (parser.isSet(QStringLiteral("as")) && formatByName(as) == nullptr) {
        return QStringLiteral("unknown format %1; --help lists them").arg(printable(as));
    }
    return {};
}

/// A report that can't be written whole is no report.
int write(const Report& report, bool asJson) {
    const QByteArray text = asJson ? printJson(report) : printText(report);
    for (const Failure& failure : report.failures) {
        const QString place = failure.file.isEmpty() ? QString() : printable(failure.file) + QStringLiteral(": ");
        std::fprintf(stderr, "qvora-inspect: %s%s\n", qUtf8Printable(place), qUtf8Printable(failure.text));
    }
    const auto size = static_cast<std::size_t>(text.size());
    if (std::fwrite(text.constData(), 1, size, stdout) != size || std::fflush(stdout) != 0) {
        std::fprintf(stderr, "qvora-inspect: the output can't be written\n");
        return statusUndecided;
    }
    return report.status;
}

void runCommand(const QCommandLineParser& parser, Report& report) {
    Call call(parser, report);
    QString fault = usageFault(parser);
    if (!fault.isEmpty()) {
        call.fail("usage", {}, fault);
    } else if (call.readEvidence()) {
        const QStringList words = parser.positionalArguments();
        commandOf(words.constFirst())->run(call, words.sliced(1));
    }
    if (!report.failures.empty() && report.status != statusWrong) {
        report.status = statusUndecided;
    }
}

}  // namespace

int run(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Shows and proves every file that QVORA Sealed Bundle Builder makes."));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("COMMAND"), QStringLiteral("what to do"));
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("files, \"-\" for standard input"),
                                 QStringLiteral("FILE..."));
    addOptions(parser);
    Report report;
    const bool isParsed = parser.parse(arguments);
    if (isParsed && parser.isSet(help)) {
        std::fputs(qUtf8Printable(helpText(parser)), stdout);
        return std::fflush(stdout) == 0 ? statusGood : statusUndecided;
    }
    if (isParsed && parser.isSet(version)) {
        std::printf("qvora-inspect %s\n", qUtf8Printable(QCoreApplication::applicationVersion()));
        return std::fflush(stdout) == 0 ? statusGood : statusUndecided;
    }
    report.command = parser.positionalArguments().value(0);
    if (isParsed) {
        runCommand(parser, report);
    } else {
        report.failures.push_back({"usage", {}, printable(parser.errorText())});
        report.status = statusUndecided;
    }
    return write(report, arguments.contains(QLatin1String("--json")));
}

}  // namespace inspect
