#include "tests/cli/CommandRun.h"

#include <QProcess>

std::string CommandResult::body() const {
    constexpr int bannerLines = 4;
    QByteArrayList lines = output.split('\n');
    lines = lines.sliced(std::min<qsizetype>(bannerLines, lines.size()));
    while (!lines.isEmpty() && lines.constLast().isEmpty()) {
        lines.removeLast();
    }
    std::string text = lines.join(" | ").toStdString();
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

CommandResult runCommand(const QString& folder, const QStringList& arguments, void (*prepare)()) {
    QProcess process;
    if (prepare != nullptr) {
        process.setChildProcessModifier(prepare);
    }
    process.setWorkingDirectory(folder);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QString::fromUtf8(QVORA_TOOL), arguments);
    CommandResult result;
    if (process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit) {
        result.status = process.exitCode();
    }
    result.output = process.readAll();
    return result;
}

QStringList splitArguments(const QString& line) {
    QStringList words;
    bool quoted = false;
    bool open = false;
    for (const QChar character : line) {
        if (character == u'"') {
            quoted = !quoted;
        }
        const bool separates = character == u' ' && !quoted;
        if (separates) {
            open = false;
            continue;
        }
        if (!open) {
            words.append(QString());
            open = true;
        }
        if (character != u'"') {
            words.last().append(character);
        }
    }
    return words;
}
