#include "produce/commandLine.h"

#include "display/buildVersion.h"
#include "produce/ConsoleListener.h"
#include "produce/ProduceCall.h"
#include "produce/stopSignals.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace produce {

namespace {

struct OptionRow {
    const char* names;  ///< separated by blanks; the last one is the option's name
    const char* value;  ///< null for a switch
    const char* help;
    bool isRepeated = false;
};

constexpr std::array options = {
    OptionRow{"devices", "FILE", "the table of devices: CSV with a header, or JSON lines; \"-\" is standard input"},
    OptionRow{"ledger", "LEDGER", "the ledger: the path of a file, or postgresql://..."},
    OptionRow{"o output", "FOLDER", "the folder of the outputs and the record; one folder per device"},
    OptionRow{"workers", "N", "how many devices are made at once; the number of processors if it is left out"},
    OptionRow{"halt-after", "N", "stop after N failures in a row"},
    OptionRow{"json", nullptr, "one JSON object per event, or one document"},
    OptionRow{"html", "FILE", "write a report as one web page"},
    OptionRow{"serial", "SERIAL", "the serial of a device"},
    OptionRow{"column", "NAME=VALUE", "a value of the device, as in a table", true},
    OptionRow{"reason", "TEXT", "why; the record keeps it"},
    OptionRow{"product", "NAME", "the product, if the ledger has several"},
    OptionRow{"station", "NAME", "the name of this station; \"station\" if it is left out"},
    OptionRow{"station-key", "PEM", "the private key that signs the record; LEDGER.station.pem if it is left out"},
    OptionRow{"site-secret", "FILE", "the secret of the fingerprints; LEDGER.site if it is left out"},
    OptionRow{"public", "PEM", "the public key of the station"},
    OptionRow{"in-toto", nullptr, "the signed checkpoints, one envelope a line"},
    OptionRow{"csv", nullptr, "one row per output"},
    OptionRow{"key", "KEY", "the key of the images"},
};

constexpr char lineOptions[] = "ledger! output! workers station station-key site-secret json";

constexpr std::array commands = {
    CommandRow{"check", "JOB", 1, 1, "devices output json", "check a job and its table; makes nothing", runCheck},
    CommandRow{"run", "JOB", 1, 1, "devices! ledger! output! workers halt-after station station-key site-secret json",
               "make and prove all devices of a table; running again resumes", runRun, true},
    CommandRow{"one", "JOB", 1, 1, "serial! column ledger! output! workers station station-key site-secret json",
               "make and prove one device", runOne, true},
    CommandRow{"serve", "JOB", 1, 1, lineOptions, "make devices on request: JSON lines in, JSON lines out", runServe,
               true},
    CommandRow{"status", "", 0, 0, "ledger! json html", "show the state of a ledger", runStatus},
    CommandRow{"void", "", 0, 0, "serial! reason! ledger! product station", "permit that a proven device is made again",
               runVoid},
    CommandRow{"record verify", "RECORD", 1, 1, "public!", "check a record and its signatures; needs no ledger",
               runRecordVerify},
    CommandRow{"record export", "RECORD", 1, 1, "in-toto csv", "print a record in another form", runRecordExport},
    CommandRow{"ledger init", "", 0, 0, "ledger! site-secret station-key",
               "make a ledger, a site secret and a station key", runLedgerInit},
    CommandRow{"ledger station-key", "", 0, 0, "station-key!", "make a station key", runLedgerStationKey},
    CommandRow{"ledger import", "IMAGE...", 1, -1, "ledger! key! station site-secret",
               "mark the IVs of older images as used", runLedgerImport},
    CommandRow{"ledger new-epoch", "", 0, 0, "ledger! output! reason station",
               "begin new nonces, after a backup was restored", runLedgerNewEpoch},
    CommandRow{"ledger retire-key", "FINGERPRINT", 1, 1, "ledger! station", "make no more images with a key",
               runLedgerRetireKey},
    CommandRow{"ledger check", "", 0, 0, "ledger!", "check a ledger and its file", runLedgerCheck},
};

QString nameOf(const OptionRow& row) {
    return QString::fromLatin1(row.names).section(u' ', -1);
}

const OptionRow* findOption(const QString& name) {
    const auto row = std::find_if(options.begin(), options.end(), [&name](const OptionRow& candidate) {
        return QString::fromLatin1(candidate.names).split(u' ').contains(name);
    });
    return row == options.end() ? nullptr : &*row;
}

/// The command whose words begin the operands; removes them.
const CommandRow* takeCommand(QStringList& operands) {
    for (const CommandRow& row : commands) {
        const QStringList words = QString::fromLatin1(row.words).split(u' ');
        if (operands.mid(0, words.size()) == words) {
            operands = operands.mid(words.size());
            return &row;
        }
    }
    return nullptr;
}

/// Sorts the words into operands and options. `fault` is empty on success.
ProduceCall parse(const QStringList& words, QString& fault) {
    ProduceCall call;
    bool isOptionsEnd = false;
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString& word = words.at(i);
        if (isOptionsEnd || !word.startsWith(u'-') || word == QLatin1String("-")) {
            call.operands.append(word);
            continue;
        }
        if (word == QLatin1String("--")) {
            isOptionsEnd = true;
            continue;
        }
        const QString text = word.mid(word.startsWith(QLatin1String("--")) ? 2 : 1);
        const QString name = text.section(u'=', 0, 0);
        const OptionRow* const row = findOption(name);
        if (row == nullptr) {
            fault = QStringLiteral("unknown option %1; --help lists them").arg(word.section(u'=', 0, 0));
            return call;
        }
        const bool hasValue = text.contains(u'=');
        if (hasValue && row->value == nullptr) {
            fault = QStringLiteral("--%1 has no value").arg(name);
            return call;
        }
        if (row->value != nullptr && !hasValue && i + 1 == words.size()) {
            fault = QStringLiteral("--%1 needs a value").arg(name);
            return call;
        }
        QStringList& values = call.options[nameOf(*row)];
        if (!values.isEmpty() && !row->isRepeated) {
            fault = QStringLiteral("--%1 can be given once only").arg(name);
            return call;
        }
        values.append(hasValue ? text.section(u'=', 1) : row->value != nullptr ? words.at(++i) : QString());
    }
    return call;
}

QString checkCall(const CommandRow& row, const ProduceCall& call) {
    const qsizetype count = call.operands.size();
    if (count < row.leastOperands) {
        return QStringLiteral("%1 needs %2").arg(QLatin1String(row.words), QLatin1String(row.operands));
    }
    if (row.mostOperands >= 0 && count > row.mostOperands) {
        return QStringLiteral("there is one word too many: %1").arg(call.operands.at(row.mostOperands));
    }
    const QStringList accepted = QString::fromLatin1(row.options).split(u' ');
    for (auto option = call.options.begin(); option != call.options.end(); ++option) {
        if (!accepted.contains(option.key()) && !accepted.contains(option.key() + u'!')) {
            return QStringLiteral("%1 doesn't accept --%2").arg(QLatin1String(row.words), option.key());
        }
    }
    for (const QString& option : accepted) {
        if (option.endsWith(u'!') && !call.options.contains(option.chopped(1))) {
            return QStringLiteral("%1 needs --%2").arg(QLatin1String(row.words), option.chopped(1));
        }
    }
    return {};
}

void printHelp() {
    std::printf(
        "Usage: qvora-produce COMMAND [OPTION]... [FILE]...\n"
        "Makes and proves what thousands of devices need, one after the other, with a ledger and a record.\n\n"
        "Commands:\n");
    for (const CommandRow& row : commands) {
        std::printf("  %-28s %s\n",
                    qPrintable(QStringLiteral("%1 %2").arg(QLatin1String(row.words), QLatin1String(row.operands))),
                    row.help);
    }
    std::printf("\nOptions:\n");
    for (const OptionRow& row : options) {
        const QString value = row.value == nullptr ? QString() : u' ' + QString::fromLatin1(row.value);
        const QStringList names = QString::fromLatin1(row.names).split(u' ');
        const QString text = (names.size() > 1 ? u'-' + names.constFirst() + QStringLiteral(", ") : QString()) +
                             QStringLiteral("--") + names.constLast() + value;
        std::printf("  %-28s %s\n", qPrintable(text), row.help);
    }
    std::printf("\nOptions of each command (\"!\": needed):\n");
    for (const CommandRow& row : commands) {
        std::printf("  %-20s %s\n", row.words, row.options);
    }
    std::printf(
        "\nStatus: 0 everything is proven, 1 some devices failed, 2 nothing was started, 3 stopped by the user.\n");
}

int refuse(const QString& fault) {
    printFault(fault);
    return statusNothing;
}

}  // namespace

std::span<const CommandRow> commandTable() {
    return commands;
}

int run(const QStringList& arguments) {
    const QStringList words = arguments.mid(1);
    if (words.contains(QLatin1String("--help")) || words.contains(QLatin1String("-h"))) {
        printHelp();
        return std::fflush(stdout) == 0 ? statusDone : statusFailed;
    }
    if (words.contains(QLatin1String("--version"))) {
        std::printf("qvora-produce %s\n", buildVersion);
        return std::fflush(stdout) == 0 ? statusDone : statusFailed;
    }
    QString fault;
    ProduceCall call = parse(words, fault);
    if (!fault.isEmpty()) {
        return refuse(fault);
    }
    if (call.operands.isEmpty()) {
        return refuse(QStringLiteral("a command is missing; --help lists them"));
    }
    const QString first = call.operands.constFirst();
    const CommandRow* const row = takeCommand(call.operands);
    fault = row == nullptr ? QStringLiteral("unknown command %1; --help lists them").arg(first) : checkCall(*row, call);
    if (!fault.isEmpty()) {
        return refuse(fault);
    }
    if (row->makesDevices) {
        handleStopSignals();
    }
    const int status = row->run(call);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        printFault(QStringLiteral("the output can't be written"));
        return status == statusDone ? statusFailed : status;
    }
    return status;
}

}  // namespace produce
