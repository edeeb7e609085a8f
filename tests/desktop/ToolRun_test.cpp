#include "desktop/run/ToolRun.h"

#include "desktop/run/OutputPane.h"
#include "jobs/shellQuoted.h"
#include "tests/desktop/DesktopKit.h"

#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

QString joined(const QList<desktop::StyledText>& texts) {
    QString text;
    for (const desktop::StyledText& piece : texts) {
        text += piece.text;
    }
    return text;
}

/// A run of a program or of a shell script, with its output and its end.
struct Trial {
    Trial() {
        QObject::connect(&run, &desktop::ToolRun::output,
                         [this](const QList<desktop::StyledText>& texts) { output += texts; });
        QObject::connect(&run, &desktop::ToolRun::ended, [this](const desktop::ToolEnd& how) { ends.append(how); });
    }

    void startScript(const QByteArray& script) {
        run.start(QStringLiteral("/bin/sh"), {folder.write("script", script)}, folder.path(""));
    }

    [[nodiscard]] desktop::ToolEnd end() {
        if (!DesktopKit::waitFor([this] { return !ends.isEmpty(); })) {
            ADD_FAILURE() << "it never ended";
            return {};
        }
        EXPECT_FALSE(run.isRunning());
        EXPECT_EQ(ends.size(), 1);
        return ends.takeFirst();
    }

    TempFolder folder;
    desktop::ToolRun run;
    QList<desktop::StyledText> output;
    QList<desktop::ToolEnd> ends;
};

bool lives(const QByteArray& process) {
    const QByteArray state = fileContent(QStringLiteral("/proc/%1/stat").arg(QString::fromLatin1(process.trimmed())));
    return !state.isEmpty() && !state.contains(") Z ");
}

TEST(ToolRun, KeepsPartialEscapesAndCharactersUntilTheyAreComplete) {
    Trial trial;
    trial.startScript(R"(test -t 1 && test -t 2 || exit 3
say() { printf "$1"; sleep 0.05; }
say 'a \303'; say '\244\033'; say '[9'; say '1mwrong\n\033[0'; say 'm10%%\r'; say '20%%\r\033[K'; say '30%%\r\n'
say '\033]0;title\007\033(B\a\000x\342\200\256'; printf 'to two\n' >&2; printf 'last \342\202'; exit 7
)");
    const desktop::ToolEnd end = trial.end();
    EXPECT_EQ(end.kind, desktop::ToolEnd::Kind::ended);
    EXPECT_EQ(end.status, 7);
    const QString whole = joined(trial.output);
    EXPECT_EQ(whole.toStdString(),
              QStringLiteral("a äwrong\n10%20%30%\n\\x07\\x00x\\u202Eto two\nlast \uFFFD\uFFFD").toStdString());
    for (const desktop::StyledText& piece : trial.output) {
        EXPECT_EQ(piece.style,
                  piece.text.contains(QLatin1String("wrong")) ? desktop::TextStyle::error : desktop::TextStyle::plain);
        EXPECT_EQ(piece.restartsLine, piece.text.startsWith(u'2') || piece.text.startsWith(u'3'));
    }
}

TEST(ToolRun, StopEndsTheProcessesOfTheProgramToo) {
    Trial trial;
    trial.startScript(
        "trap '' TERM\n(trap '' TERM; sleep 60; sleep 60) & echo $! > grandchild\necho $$ > child\nwait; sleep 60\n");
    ASSERT_TRUE(DesktopKit::waitFor([&trial] { return trial.folder.read("child").endsWith('\n'); }));
    trial.run.stop();
    EXPECT_TRUE(trial.run.isStopping());
    EXPECT_EQ(trial.end().kind, desktop::ToolEnd::Kind::stopped);
    EXPECT_FALSE(lives(trial.folder.read("child")));
    EXPECT_FALSE(lives(trial.folder.read("grandchild")));
}

TEST(ToolRun, ReportsEveryOtherEnd) {
    Trial trial;
    trial.startScript("echo before; kill -SEGV $$");
    desktop::ToolEnd end = trial.end();
    EXPECT_EQ(end.kind, desktop::ToolEnd::Kind::crashed);
    EXPECT_EQ(end.status, 11);
    EXPECT_EQ(joined(trial.output), QStringLiteral("before\n"));

    const QString noProgram = trial.folder.write("text", "no program");
    for (const QString& path : {trial.folder.path("none"), noProgram, trial.folder.path("")}) {
        trial.run.start(path, {}, QString());
        EXPECT_TRUE(trial.run.isRunning());
        end = trial.end();
        EXPECT_EQ(end.kind, desktop::ToolEnd::Kind::notStarted);
        EXPECT_TRUE(end.reason.contains(path)) << qPrintable(end.reason);
    }
    ASSERT_TRUE(QFile::setPermissions(noProgram, QFile::ReadOwner | QFile::ExeOwner));
    trial.run.start(noProgram, {}, QString());
    EXPECT_EQ(trial.end().kind, desktop::ToolEnd::Kind::notStarted);
}

TEST(ToolRun, ManyLinesNeitherBlockTheWindowNorGetLost) {
    Trial trial;
    DesktopKit kit;
    desktop::OutputPane pane(kit.context);
    pane.resize(600, 300);
    pane.show();
    QObject::connect(&trial.run, &desktop::ToolRun::output, &pane, &desktop::OutputPane::add);
    QElapsedTimer sinceTurn;
    qint64 longest = 0;
    QTimer turns;
    QObject::connect(&turns, &QTimer::timeout, [&] { longest = qMax(longest, sinceTurn.restart()); });
    turns.start(0);
    sinceTurn.start();
    trial.startScript(
        "i=0; while [ $i -lt 50000 ]; do i=$((i+1)); echo \"line $i of many that are neither short nor long\"; done");
    EXPECT_EQ(trial.end().status, 0);
    pane.flush();
    EXPECT_EQ(pane.blockCount(), 50000);
    EXPECT_TRUE(pane.toPlainText().endsWith(QLatin1String("line 50000 of many that are neither short nor long")));
    EXPECT_LT(longest, 1000);
    RecordProperty("longestTurn", static_cast<int>(longest));
}

TEST(ToolRun, ShowsTheErrorOfTheRealToolInColour) {
    Trial trial;
    qputenv("NO_COLOR", "1");
    trial.run.start(QStringLiteral(QVORA_TOOL), {QStringLiteral("-tbi")}, trial.folder.path(""));
    EXPECT_NE(trial.end().status, 0);
    qunsetenv("NO_COLOR");
    bool isReported = false;
    for (const desktop::StyledText& piece : trial.output) {
        isReported = isReported || (piece.style == desktop::TextStyle::error &&
                                    piece.text == QLatin1String("Error: Missing device ID\n"));
    }
    EXPECT_TRUE(isReported) << qPrintable(joined(trial.output));
}

TEST(ToolRun, AShellReadsQuotedWordsUnchanged) {
    const QStringList words = {QString(),
                               QStringLiteral("plain-word_1./:=@%+,"),
                               QStringLiteral(" two  blanks "),
                               QStringLiteral("it's \"both\" ''"),
                               QStringLiteral("$HOME `id` $(id) \\ \\n !!"),
                               QStringLiteral("a\nb\tc"),
                               QStringLiteral("*?[a] ~ # & ; | < > {a,b}"),
                               QStringLiteral("-n"),
                               QStringLiteral("Ünï 鍵 🔑"),
                               QStringLiteral("'")};
    QProcess shell;
    shell.start(QStringLiteral("sh"),
                {QStringLiteral("-c"), QStringLiteral("printf '%s\\0' ") + jobs::shellQuoted(words)});
    ASSERT_TRUE(shell.waitForFinished());
    EXPECT_EQ(QString::fromUtf8(shell.readAllStandardOutput()).toStdString(),
              (words.join(QChar(0)) + QChar(0)).toStdString());
}

}  // namespace
