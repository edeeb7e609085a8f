#include "calls/Call.h"

#include "display/buildVersion.h"

#include <QStringDecoder>

#include <algorithm>
#include <cstdio>

namespace calls {

namespace {

QString nameOf(const OptionRow& row) {
    return QString::fromLatin1(row.names).section(u' ', -1);
}

const OptionRow* findOption(const Program& program, const QString& name) {
    const auto row = std::find_if(program.options.begin(), program.options.end(), [&name](const OptionRow& candidate) {
        return QString::fromLatin1(candidate.names).split(u' ').contains(name);
    });
    return row == program.options.end() ? nullptr : &*row;
}

/// The command whose words begin the operands; removes them.
const CommandRow* takeCommand(const Program& program, QStringList& operands) {
    for (const CommandRow& row : program.commands) {
        const QStringList words = QString::fromLatin1(row.words).split(u' ');
        if (operands.mid(0, words.size()) == words) {
            operands = operands.mid(words.size());
            return &row;
        }
    }
    return nullptr;
}

/// Sorts the words into operands and options. `fault` is empty on success.
Call parse(const Program& program, const QStringList& words, QString& fault) {
    Call call;
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
        const OptionRow* const row = findOption(program, name);
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

QString checkCall(const CommandRow& row, const Call& call) {
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

void printHelp(const Program& program) {
    std::printf("Usage: %s COMMAND [OPTION]... [FILE]...\n%s\n\nCommands:\n", program.name, program.purpose);
    for (const CommandRow& row : program.commands) {
        std::printf("  %-28s %s\n",
                    qPrintable(QStringLiteral("%1 %2").arg(QLatin1String(row.words), QLatin1String(row.operands))),
                    row.help);
    }
    std::printf("\nOptions:\n");
    for (const OptionRow& row : program.options) {
        const QString value = row.value == nullptr ? QString() : u' ' + QString::fromLatin1(row.value);
        const QStringList names = QString::fromLatin1(row.names).split(u' ');
        const QString text = (names.size() > 1 ? u'-' + names.constFirst() + QStringLiteral(", ") : QString()) +
                             QStringLiteral("--") + names.constLast() + value;
        std::printf("  %-28s %s\n", qPrintable(text), row.help);
    }
    std::printf("\nOptions of each command (\"!\": needed):\n");
    for (const CommandRow& row : program.commands) {
        std::printf("  %-20s %s\n", row.words, row.options);
    }
    std::printf("\nStatus: %s\n", program.statuses);
}

int refuse(const Program& program, const QString& fault) {
    program.printFault(fault);
    return statusNothing;
}

/// Reads the words after the program's name.
bool readWords(int argc, char** argv, QStringList& words, QString& fault) {
    for (int i = 1; i < argc; ++i) {
        QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::ConvertInitialBom);
        words.append(decoder(QByteArrayView(argv[i])));
        if (words.constLast().toUtf8() != argv[i]) {
            fault = QStringLiteral("argument %1 is not in UTF-8").arg(i);
            return false;
        }
    }
    return true;
}

}  // namespace

int run(const Program& program, int argc, char** argv) {
    QStringList words;
    QString fault;
    if (!readWords(argc, argv, words, fault)) {
        return refuse(program, fault);
    }
    if (words.contains(QLatin1String("--help")) || words.contains(QLatin1String("-h"))) {
        printHelp(program);
        return std::fflush(stdout) == 0 ? statusDone : statusFailed;
    }
    if (words.contains(QLatin1String("--version"))) {
        std::printf("%s %s\n", program.name, buildVersion);
        return std::fflush(stdout) == 0 ? statusDone : statusFailed;
    }
    Call call = parse(program, words, fault);
    if (!fault.isEmpty()) {
        return refuse(program, fault);
    }
    if (call.operands.isEmpty()) {
        return refuse(program, QStringLiteral("a command is missing; --help lists them"));
    }
    const QString first = call.operands.constFirst();
    const CommandRow* const row = takeCommand(program, call.operands);
    fault = row == nullptr ? QStringLiteral("unknown command %1; --help lists them").arg(first) : checkCall(*row, call);
    if (!fault.isEmpty()) {
        return refuse(program, fault);
    }
    const int status = row->run(call);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        program.printFault(QStringLiteral("the output can't be written"));
        return status == statusDone ? statusFailed : status;
    }
    return status;
}

}  // namespace calls
