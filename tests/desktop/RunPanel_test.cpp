#include "desktop/run/RunPanel.h"
#include "desktop/look/applyTheme.h"

#include "desktop/run/OutputPane.h"
#include "tests/desktop/DesktopKit.h"

#include <QClipboard>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>

#include <gtest/gtest.h>

namespace {

/// A panel that runs a shell script instead of the tool.
struct Trial {
    explicit Trial(const QByteArray& script)
        : settings(folder.path("settings.ini")),
          dialogs(settings),
          context{dialogs, settings, folder.write("the tool", "#!/bin/sh\n" + script)},
          panel(context) {
        QFile::setPermissions(context.toolPath, QFile::ReadOwner | QFile::ExeOwner);
        qputenv("PATH", folder.path("").toUtf8() + ':' + searchPath);
        panel.setFolder(folder.path(""));
        panel.show();
        QApplication::setActiveWindow(&panel);
        QObject::connect(&panel, &desktop::RunPanel::runRequested, &panel, &desktop::RunPanel::start);
        QObject::connect(&panel, &desktop::RunPanel::finished, [this](int status) { ends.append(status); });
        QObject::connect(&panel, &desktop::RunPanel::inspectRequested,
                         [this](const QString& path) { inspected.append(path); });
    }

    ~Trial() { qputenv("PATH", searchPath); }

    template <class Widget>
    Widget* find(const char* name) {
        return panel.findChild<Widget*>(QLatin1String(name));
    }
    void press(const char* name) { QTest::keyClick(find<QPushButton>(name), Qt::Key_Space); }
    [[nodiscard]] std::string status() { return find<QLabel>("missing")->text().toStdString(); }
    [[nodiscard]] bool waitForEnd() {
        return DesktopKit::waitFor([this] { return !ends.isEmpty(); });
    }

    QByteArray searchPath = qgetenv("PATH");
    TempFolder folder;
    desktop::Settings settings;
    ScriptedDialogs dialogs;
    desktop::PageContext context;
    desktop::RunPanel panel;
    QList<int> ends;
    QStringList inspected;
};

TEST(RunPanel, RunsTheShownLineAndOffersItsOutput) {
    Trial trial("printf '<%s>' \"$@\"; echo; touch \"$1\"");
    trial.panel.setCommand({QStringLiteral("an out"), QStringLiteral("it's")}, {QStringLiteral("Key")});
    EXPECT_EQ(trial.status(), "1 thing is missing or wrong: Key");
    trial.panel.setCommand({QStringLiteral("an out"), QStringLiteral("it's")}, {});
    trial.panel.setOutputs({QStringLiteral("an out"), QStringLiteral("not made")});
    EXPECT_EQ(trial.status(), "Ready");
    trial.press("copy");
    EXPECT_EQ(QApplication::clipboard()->text(), trial.find<QPlainTextEdit>("commandLine")->toPlainText());
    EXPECT_EQ(QApplication::clipboard()->text(), QStringLiteral("'the tool' 'an out' 'it'\"'\"'s'"));
    auto* line = trial.find<QPlainTextEdit>("commandLine");
    trial.panel.setCommand({QStringLiteral("no\u00A0break\u2028here")}, {});
    trial.press("copy");
    EXPECT_EQ(QApplication::clipboard()->text(), QStringLiteral("'the tool' 'no\u00A0break\u2028here'"));
    line->selectAll();
    line->copy();
    EXPECT_EQ(QApplication::clipboard()->text(), QStringLiteral("'the tool' 'no\u00A0break\u2028here'"));
    trial.panel.setCommand({QStringLiteral("an out"), QStringLiteral("it's")}, {});
    EXPECT_FALSE(trial.find<QPushButton>("inspect")->isVisible());

    trial.press("run");
    ASSERT_TRUE(trial.waitForEnd());
    EXPECT_EQ(trial.ends, QList<int>{0});
    EXPECT_EQ(trial.find<QPlainTextEdit>("output")->toPlainText(), QStringLiteral("<an out><it's>"));
    EXPECT_EQ(trial.status().rfind("Ended with status 0 in ", 0), 0U) << trial.status();
    trial.press("inspect");
    EXPECT_EQ(trial.inspected, QStringList{trial.folder.path("an out")});

    trial.panel.setCommand({QStringLiteral("another")}, {});
    EXPECT_EQ(trial.status(), "Ready");
    EXPECT_FALSE(trial.find<QPushButton>("inspect")->isVisible());
}

TEST(RunPanel, StopsAndShowsTheRunningLineMeanwhile) {
    Trial trial("echo begun; exec sleep 60");
    trial.panel.setCommand({QStringLiteral("one")}, {});
    trial.press("run");
    trial.press("run");  // the second half of a double click
    ASSERT_TRUE(DesktopKit::waitFor(
        [&trial] { return trial.find<QPlainTextEdit>("output")->toPlainText() == QLatin1String("begun"); }));
    trial.panel.setCommand({QStringLiteral("two")}, {});
    EXPECT_EQ(trial.find<QPlainTextEdit>("commandLine")->toPlainText(), QStringLiteral("'the tool' one"));
    ASSERT_TRUE(DesktopKit::waitFor([&trial] { return trial.status() == "Running for 1 s"; }));
    trial.press("run");
    EXPECT_EQ(trial.status(), "Stopping");
    ASSERT_TRUE(trial.waitForEnd());
    EXPECT_EQ(trial.ends, QList<int>{-1});
    EXPECT_EQ(trial.status().rfind("Stopped after 1", 0), 0U) << trial.status();
    EXPECT_EQ(trial.find<QPlainTextEdit>("commandLine")->toPlainText(), QStringLiteral("'the tool' two"));
}

/// The number in the first visible line.
int topLine(const desktop::OutputPane& pane) {
    return pane.cursorForPosition(QPoint(5, 5)).block().text().toInt();
}

TEST(OutputPane, FollowsTheOutputOnlyAtItsEndAndKeepsTheLastLines) {
    DesktopKit kit;
    desktop::OutputPane pane(kit.context);
    pane.resize(400, 150);
    pane.show();
    QString text;
    const auto add = [&pane, &text](int from, int to) {
        text.clear();
        for (int line = from; line < to; ++line) {
            text += QString::number(line) + u'\n';
        }
        pane.add({{desktop::TextStyle::plain, false, text}});
        pane.flush();
    };
    add(0, 60000);
    EXPECT_EQ(pane.verticalScrollBar()->value(), pane.verticalScrollBar()->maximum());
    pane.verticalScrollBar()->setValue(50000);
    EXPECT_EQ(topLine(pane), 50000);
    add(60000, 120000);
    EXPECT_EQ(topLine(pane), 50000);  // the visible lines don't move when earlier ones are removed
    EXPECT_EQ(pane.document()->firstBlock().text(), QStringLiteral("20000"));
    EXPECT_TRUE(pane.findChild<QLabel*>()->isVisible());
}

TEST(OutputPane, OverwritesProgressAndUsesTheColoursOfTheTheme) {
    DesktopKit kit;
    desktop::OutputPane pane(kit.context);
    pane.add({{desktop::TextStyle::plain, false, QStringLiteral("first\n10%")},
              {desktop::TextStyle::plain, true, QStringLiteral("20%")},
              {desktop::TextStyle::error, true, QStringLiteral("broken\n")},
              {desktop::TextStyle::plain, true, QStringLiteral("last")}});
    pane.flush();
    EXPECT_EQ(pane.toPlainText(), QStringLiteral("first\nbroken\nlast"));
    const auto color = [&pane] {
        return pane.document()->findBlockByNumber(1).begin().fragment().charFormat().foreground().color();
    };
    EXPECT_EQ(color(), desktop::Theme::color(desktop::ThemeColor::fault, false));
    desktop::applyTheme(*qobject_cast<QApplication*>(QCoreApplication::instance()), desktop::ThemeScheme::dark);
    QCoreApplication::processEvents();
    EXPECT_EQ(color(), desktop::Theme::color(desktop::ThemeColor::fault, true));
    desktop::applyTheme(*qobject_cast<QApplication*>(QCoreApplication::instance()), desktop::ThemeScheme::light);
}

}  // namespace
