// Fills in each job of the window by key strokes, with the files of examples/, and runs it with the real tool.

#include "desktop/run/JobPage.h"

#include "desktop/pageTable.h"
#include "jobs/jobFile.h"
#include "tests/desktop/DesktopKit.h"
#include "tests/desktop/jobForms.h"
#include "tests/support/CardTest.h"

#include <QDir>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProcess>
#include <QTest>
#include <QTreeView>

#include <gtest/gtest.h>

#include <map>

namespace {

QString shownLine(DesktopKit& kit) {
    return kit.find<QPlainTextEdit>("commandLine")->toPlainText();
}

QString shownStatus(DesktopKit& kit) {
    return kit.find<QLabel>("missing")->text();
}

QString sorted(const QString& line) {
    QStringList words = line.split(u' ');
    words.sort();
    return words.join(u' ');
}

/// Whether the search in the list of pages finds `page` by the significant words of `text` before a parenthesis.
bool isFoundBy(const QString& text, const char* page) {
    static const QStringList fillers = {QStringLiteral("with"), QStringLiteral("from"), QStringLiteral("what"),
                                        QStringLiteral("for")};
    for (const desktop::PageRow& row : desktop::pageTable()) {
        if (qstrcmp(row.id, page) == 0) {
            const QString known =
                QLatin1String(row.title) + u' ' + QLatin1String(row.group) + u' ' + QLatin1String(row.words);
            const QStringList words = QString(text).remove(u',').section(u'(', 0, 0).split(u' ');
            return std::all_of(words.begin(), words.end(), [&known](const QString& word) {
                return word.size() < 3 || fillers.contains(word) || known.contains(word, Qt::CaseInsensitive);
            });
        }
    }
    return false;
}

/// Saves the job of `form` and opens the file while another page is shown. Returns the job's command line with paths
/// relative to the current folder.
QString openSavedJob(DesktopKit& kit, const JobForm& form) {
    jobs::Job job{jobs::findJob(QLatin1String(form.job)), {}};
    for (const auto& [field, value] : form.fields) {
        job.values.insert(QLatin1String(field), {QLatin1String(value)});
    }
    QString line;
    QString fault;
    EXPECT_TRUE(jobs::writeJobFile(QStringLiteral("job.json"), job, fault)) << qUtf8Printable(fault);
    EXPECT_TRUE(kit.show("card")->openFile(QFileInfo(QStringLiteral("job.json")).absoluteFilePath()));
    EXPECT_EQ(kit.settings.lastPage(), QLatin1String(form.page));
    EXPECT_TRUE(jobs::commandLineOfJobFile(QStringLiteral("job.json"), kit.context.toolPath, line, fault));
    const auto* shown = kit.window->page()->findChild<QWidget*>(QStringLiteral("commandLine"));
    EXPECT_TRUE(DesktopKit::waitFor([shown] { return shown->isVisible(); }));
    if (qstrcmp(form.page, "inspect") == 0) {
        EXPECT_TRUE(shownLine(kit).endsWith(line.section(u' ', -1))) << qUtf8Printable(shownLine(kit));
    } else {
        EXPECT_EQ(shownLine(kit), line);
    }
    return line.remove(QDir::currentPath() + u'/').remove(u'\'');
}

/// Works in a copy of the example files, with the tool and an imgtool on the PATH and a card in slot 0.
class JobPageTest : public CardTest {
  protected:
    void SetUp() override {
        CardTest::SetUp();
        ASSERT_TRUE(copyExamples(folder));
        QFile::link(QStringLiteral(QVORA_IMGTOOL_STAND_IN), folder.path("imgtool"));
        qputenv("PATH",
                folder.path("").toUtf8() + ":" + QFileInfo(QStringLiteral(QVORA_TOOL)).path().toUtf8() + ":" + path);
        qputenv("IMGTOOL_RECORD", folder.path("imgtool-arguments").toUtf8());
        QDir::setCurrent(folder.path(""));
    }
    void TearDown() override {
        QDir::setCurrent(before);
        qputenv("PATH", path);
    }

    QByteArray path = qgetenv("PATH");
    QString before = QDir::currentPath();
};

// The pages run the example lines of the manual; the order of the options may differ. A shell splits the shown line
// into the same arguments.
TEST_F(JobPageTest, RunsEveryCommandOfTheManual) {
    std::map<QString, QString> lines;  // the purpose of each line
    for (const QByteArray& row : fileContent(QStringLiteral(QVORA_EXAMPLES "/commands.tsv")).split('\n')) {
        const QString line = QString::fromUtf8(row.split('\t').last());
        lines[sorted(line.mid(line.indexOf(u' ') + 1))] = QString::fromUtf8(row.split('\t').first());
    }
    lines.erase(QString());
    for (const JobForm& form : jobForms()) {
        DesktopKit kit;
        QString line;
        if (form.job == nullptr) {
            kit.show(form.page);
            fillIn(kit, form);
            line = shownLine(kit);
        } else {
            line = openSavedJob(kit, form);
        }
        const auto documented = lines.find(sorted(line.mid(line.indexOf(u' ') + 1)));
        ASSERT_NE(documented, lines.end()) << qUtf8Printable(line);
        EXPECT_TRUE(isFoundBy(documented->second, form.page)) << qUtf8Printable(documented->second);
        EXPECT_TRUE(isFoundBy(line.split(u' ').at(1), form.page)) << qUtf8Printable(line);
        lines.erase(documented);
        if (qstrcmp(form.page, "inspect") == 0) {
            continue;
        }
        kit.press("run");
        ASSERT_TRUE(DesktopKit::waitFor([&] { return !kit.window->page()->isBusy(); })) << form.page;
        EXPECT_TRUE(shownStatus(kit).startsWith(QStringLiteral("Ended with status %1 ").arg(form.status)))
            << form.page << ": "
            << qUtf8Printable(shownStatus(kit) + u'\n' + kit.find<QPlainTextEdit>("output")->toPlainText());

        QByteArrayList made;
        for (const QString& output : form.outputs()) {
            made.append(fileContent(output));
            EXPECT_FALSE(made.last().isEmpty()) << qUtf8Printable(output);
        }
        if (form.isRepeatable) {
            for (const QString& output : form.outputs()) {
                QFile::remove(output);
            }
            outsideTool(QStringLiteral("sh"), {QStringLiteral("-c"), line});
            for (const QString& output : form.outputs()) {
                EXPECT_EQ(fileContent(output), made.takeFirst()) << qUtf8Printable(output);
            }
        }
    }
    EXPECT_TRUE(lines.empty());

    DesktopKit kit;
    kit.show("install-image");
    fillIn(kit, jobForms().first());
    kit.press("run");
    ASSERT_TRUE(DesktopKit::waitFor([&] { return !kit.window->page()->isBusy(); }));
    kit.press("inspect");
    EXPECT_EQ(kit.settings.lastPage(), QStringLiteral("inspect"));
    const auto* tree = kit.window->page()->findChild<QTreeView*>();
    EXPECT_TRUE(DesktopKit::waitFor(
        [tree] { return tree->model()->index(0, 0).data().toString().contains(QLatin1String("blink.tbi")); }));
}

TEST_F(JobPageTest, ReportsTheFaultOfAValue) {
    folder.write("key15.bin", QByteArray(15, 'k'));
    const struct {
        const char* page;
        const char* field;
        const char* value;
        const char* says;  ///< the fault, the result of the check, or the field's tip
    } rows[] = {
        {"install-image", "key", "key15.bin", "The file must have 16 bytes, this one has 15."},
        {"install-image", "key", "none.bin", "There is no such file."},
        {"install-image", "version", "0x100", "The number must be 255 or less."},
        {"install-image", "version", "0377", "A number from 0 to 255"},
        {"install-image", "firmware", "option-bytes.csv",
         "By its name, “option-bytes.csv” isn't firmware: ELF, HEX, S-Record or raw binary."},
        {"install-image", "token", "1", "The address where the device notes"},
        {"update-image", "nonce", "nonce.bin", "12 bytes"},
        {"external-memory", "address", "0xB0000000", "Where the image is programmed"},
    };
    for (const auto& row : rows) {
        DesktopKit kit;
        kit.show(row.page);
        kit.type(row.field, QLatin1String(row.value));
        kit.find("run")->setFocus();
        const QString said = kit.find(row.field)->accessibleDescription();
        EXPECT_TRUE(said.contains(QString::fromUtf8(row.says))) << row.value << ": " << qUtf8Printable(said);
    }
}

TEST_F(JobPageTest, ShowsTheFieldsThatCountAndNeedsOnlyThem) {
    DesktopKit kit;
    desktop::Page* page = kit.show("install-image");
    const auto isShown = [page](const char* id) { return page->findChild<QWidget*>(QLatin1String(id))->isVisible(); };
    EXPECT_FALSE(isShown("diversification") || isShown("external-region"));
    kit.type("device", QStringLiteral("0x484"));
    EXPECT_TRUE(isShown("diversification"));
    kit.type("external", QStringLiteral("app.bin"));
    EXPECT_TRUE(isShown("external-address") && isShown("external-region") && isShown("external-key-address"));
    for (const auto& [field, value] : {std::pair("external-address", "0xB0000000"),
                                       {"external-region", "4"},
                                       {"external-mode", "2"},
                                       {"external-key-address", "0x08010000"},
                                       {"key", "key.bin"},
                                       {"nonce", "nonce.bin"},
                                       {"out", "x.tbix"}}) {
        kit.type(field, QLatin1String(value));
    }
    EXPECT_TRUE(shownLine(kit).endsWith(QLatin1String("-firx app.bin 0xB0000000 2 4 0x08010000")))
        << qUtf8Printable(shownLine(kit));
    kit.press("run");
    ASSERT_TRUE(DesktopKit::waitFor([&] { return !page->isBusy(); }));
    EXPECT_TRUE(shownStatus(kit).startsWith(QLatin1String("Ended with status 0"))) << qUtf8Printable(shownStatus(kit));
    kit.type("external", QStringLiteral("blink.hex"));
    EXPECT_FALSE(isShown("external-address"));
    EXPECT_TRUE(shownLine(kit).endsWith(QLatin1String("-firx blink.hex 4 2 0x08010000")));
    kit.type("external", QString());
    kit.type("log", QStringLiteral("./key.bin"));
    EXPECT_EQ(kit.find("log")->accessibleDescription().toStdString(),
              "This is the file of “Key”, which the tool doesn't overwrite.");
    kit.press("run");
    EXPECT_EQ(QApplication::focusWidget(), kit.find("firmware"));
    EXPECT_EQ(shownStatus(kit).toStdString(), "3 things are missing or wrong: Firmware, Image version, Log file");
}

TEST_F(JobPageTest, ReportsAMissingProgramAndAFailureWithStatusZero) {
    DesktopKit kit;
    desktop::Page* page = kit.show("key-pair");
    const auto* hint = page->findChild<QLabel*>(QStringLiteral("hint"));
    EXPECT_FALSE(hint->isVisible());
    kit.type("key", QStringLiteral("keys/new.pem"));
    qputenv("IMGTOOL_ANSWER", "Error: no such kind");
    kit.press("run");
    ASSERT_TRUE(DesktopKit::waitFor([&] { return !page->isBusy(); }));
    qunsetenv("IMGTOOL_ANSWER");
    EXPECT_TRUE(shownStatus(kit).startsWith(QLatin1String("Ended with status 0"))) << qUtf8Printable(shownStatus(kit));
    EXPECT_TRUE(shownStatus(kit).endsWith(QLatin1String("but the tool reported an error")));
    QFile::remove(folder.path("imgtool"));
    kit.type("key", QStringLiteral("keys/other.pem"));
    EXPECT_TRUE(hint->isVisible() && hint->text().startsWith(QLatin1String("There is no imgtool on the PATH.")));
    qunsetenv("QVORA_HSM_PIN");
    kit.show("card");
    EXPECT_TRUE(kit.find<QLabel>("hint")->text().contains(QLatin1String("QVORA_HSM_PIN")));
}

TEST_F(JobPageTest, LosesNoEntryWithoutAQuestionAndUndoesEachStep) {
    DesktopKit kit;
    desktop::Page* page = kit.show("install-image");
    const std::string empty = shownLine(kit).toStdString();
    const auto undo = [] { QTest::keySequence(QApplication::focusWidget(), QKeySequence::Undo); };
    const auto redo = [] { QTest::keySequence(QApplication::focusWidget(), QKeySequence::Redo); };
    EXPECT_FALSE(page->isModified()) << "nothing was entered";
    kit.type("firmware", QStringLiteral("blink.elf"));
    EXPECT_FALSE(kit.window->close());
    EXPECT_EQ(kit.dialogs.asked.value(0), QStringLiteral("Untitled"));

    kit.press("firmwareAdd");
    kit.type("firmware2", QStringLiteral("app.bin"));
    kit.type("firmware2Beside", QStringLiteral("0x08020000"));
    kit.type("key", QStringLiteral("key.bin"));
    const std::string full = shownLine(kit).toStdString();
    kit.press("firmwareRemove");
    EXPECT_FALSE(shownLine(kit).contains(QLatin1String("blink.elf")));
    undo();
    EXPECT_EQ(shownLine(kit).toStdString(), full) << "the removed row is back, whatever has the focus";
    EXPECT_EQ(QApplication::focusWidget()->objectName(), QStringLiteral("firmware"));
    for (int steps = 0; steps < 3; ++steps) {
        undo();  // undoes the key, the address and the second file
    }
    EXPECT_EQ(shownLine(kit).toStdString(), empty + " -fir blink.elf");
    undo();
    EXPECT_EQ(shownLine(kit).toStdString(), empty);
    EXPECT_FALSE(page->isModified());
    for (int steps = 0; steps < 4; ++steps) {
        redo();
    }
    EXPECT_EQ(shownLine(kit).toStdString(), full);
}

TEST_F(JobPageTest, SavesAJobThatOpensAndPrintsAsTheSameLine) {
    DesktopKit kit;
    desktop::Page* page = kit.show("install-image");
    EXPECT_FALSE(page->isModified());
    fillIn(kit, jobForms().first());
    EXPECT_TRUE(page->isModified());
    kit.dialogs.paths = {folder.path("it's a job.json")};
    ASSERT_TRUE(page->save());
    EXPECT_EQ(folder.read("it's a job.json"), folder.read("blink.json"));  // the example
    kit.type("version", QStringLiteral("7"));
    EXPECT_TRUE(page->isModified());
    EXPECT_FALSE(kit.window->openFile(folder.path("none.json")));  // the test cancels the question about the change
    EXPECT_EQ(kit.dialogs.asked.last(), QStringLiteral("it's a job.json"));
    ASSERT_TRUE(page->save());
    const QByteArray saved = folder.read("it's a job.json");
    folder.write("it's a job.json", QByteArray(saved).replace("\"7\"", "\"8\""));
    EXPECT_FALSE(page->save()) << "another program's change isn't lost without a question";
    folder.write("it's a job.json", saved);
    EXPECT_TRUE(page->save());

    DesktopKit other;
    QDir::setCurrent(before);
    ASSERT_TRUE(other.show("install-image")->openFile(folder.path("it's a job.json")));
    EXPECT_FALSE(other.window->page()->isModified());
    const QString line = shownLine(other);
    EXPECT_TRUE(line.contains(folder.path("blink.elf")) && line.contains(QLatin1String("-v 7")))
        << qUtf8Printable(line);
    EXPECT_EQ(
        outsideTool(QStringLiteral(QVORA_PROGRAM), {QStringLiteral("--print-command"), folder.path("it's a job.json")}),
        line.toUtf8() + '\n');

    // Opening a job of another page doesn't change this page, so the window asks nothing.
    DesktopKit third;
    third.show("update-image");
    third.type("key", QStringLiteral("key.bin"));
    EXPECT_TRUE(third.window->openFile(folder.path("it's a job.json")));
    EXPECT_EQ(third.dialogs.asked.size(), 0);
    EXPECT_TRUE(third.show("update-image")->isModified());
    EXPECT_TRUE(third.window->page()->openFile(folder.path("it's a job.json")));
    EXPECT_EQ(shownLine(third), line);
    EXPECT_FALSE(third.window->page()->openFile(folder.path("key.bin")));
    QString fault;
    ASSERT_TRUE(jobs::writeJobFile(folder.path("strange.json"),
                                   {jobs::findJob(QStringLiteral("card")),
                                    {{QStringLiteral("key"), {folder.path(" a\n\"b$c`")}},
                                     {QStringLiteral("firmware-id"), {QStringLiteral(" two  words\t")}}}},
                                   fault));
    ASSERT_TRUE(third.show("card")->openFile(folder.path("strange.json")));
    EXPECT_EQ(
        outsideTool(QStringLiteral(QVORA_PROGRAM), {QStringLiteral("--print-command"), folder.path("strange.json")}),
        shownLine(third).toUtf8() + '\n');
    EXPECT_TRUE(third.dialogs.faults.last().contains(QLatin1String("isn't a job"))) << third.dialogs.faults.size();
    third.dialogs.paths = {folder.path(".")};
    EXPECT_FALSE(third.window->page()->saveAs());
    EXPECT_TRUE(third.dialogs.faults.last().contains(QLatin1String("can't be written"))) << third.dialogs.faults.size();
}

}  // namespace
