#include "jobs/jobFile.h"
#include "tests/desktop/DesktopKit.h"
#include "tests/support/outsideTool.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTest>
#include <QUndoStack>

namespace {

/// Copies the example template and the key that it names into the folder of the kit. Returns the template's path.
QString exampleTemplate(DesktopKit& kit) {
    EXPECT_TRUE(QDir(kit.folder.path("")).mkpath(QStringLiteral("keys")));
    EXPECT_TRUE(QFile::copy(QStringLiteral(QVORA_EXAMPLES "/provisioning/oem-public.pem"),
                            kit.folder.path("keys/authentication_pub.pem")));
    return kit.folder.write("provisioning.xml",
                            fileContent(QStringLiteral(QVORA_EXAMPLES "/templates/provisioning.xml")));
}

void toggle(DesktopKit& kit, const char* name) {
    kit.find(name)->setFocus(Qt::TabFocusReason);
    QTest::keyClick(kit.find(name), Qt::Key_Space);
}

/// `text` with `value` inserted after the name `name`, as the tool writes it.
QByteArray withValue(QByteArray text, const QByteArray& name, const QByteArray& value) {
    const QByteArray tag = "<Name>" + name + "</Name>\n\t\t\t";
    EXPECT_EQ(text.count(tag), 1) << name.constData();
    return text.replace(tag, tag + "<Value>" + value + "</Value>\r\n\t\t");
}

TEST(TemplatePage, ChangesOnlyTheValuesThatTheUserChanged) {
    DesktopKit kit;
    desktop::Page* page = kit.show("template");
    const QString path = exampleTemplate(kit);
    const QByteArray before = fileContent(path);
    ASSERT_TRUE(kit.window->openFile(path));
    EXPECT_FALSE(page->isModified());
    EXPECT_EQ(kit.find("parameter Authentication key")->isEnabled(), true);

    kit.type("parameter Firmware area size", QStringLiteral("0x80000"));
    toggle(kit, "parameter Rollback protection");
    kit.find("parameter Number of images")->setFocus();
    QTest::keyClick(kit.find("parameter Number of images"), Qt::Key_Up);
    EXPECT_TRUE(page->isModified());
    ASSERT_TRUE(page->save());
    QByteArray expected = withValue(before, "Firmware area size", "0x80000");
    expected = withValue(expected, "Rollback protection", "0x0");
    expected = withValue(expected, "Number of images", "1");
    EXPECT_EQ(fileContent(path), expected);
    EXPECT_FALSE(page->isModified());

    page->undoStack()->undo();
    EXPECT_EQ(kit.find<QComboBox>("parameter Number of images")->currentText(), QStringLiteral("2"));
    EXPECT_TRUE(page->isModified());
    page->undoStack()->redo();
    EXPECT_FALSE(page->isModified());
    EXPECT_EQ(page->undoStack()->count(), 3) << "what is typed into a field is one change";

    kit.folder.write("provisioning.xml", before);
    page->undoStack()->undo();
    EXPECT_FALSE(page->save()) << "another program's change isn't lost without a question";
    EXPECT_EQ(fileContent(path), before);

    kit.dialogs.asked.clear();
    kit.dialogs.paths = {kit.folder.write("older.xml", "older")};
    EXPECT_TRUE(page->saveAs());
    EXPECT_EQ(kit.dialogs.asked.size(), 1) << "the dialog asks itself whether it may be replaced";
    EXPECT_TRUE(kit.window->openFile(QStringLiteral(QVORA_EXAMPLES "/templates/image.xml"))) << "while there are steps";
}

TEST(TemplatePage, RunsTheLineThatItShows) {
    DesktopKit kit;
    desktop::Page* page = kit.show("template");
    const QString path = exampleTemplate(kit);
    ASSERT_TRUE(kit.window->openFile(path));
    kit.type("parameter Firmware area size", QStringLiteral("131072"));
    kit.press("run");
    EXPECT_EQ(kit.dialogs.asked.size(), 1) << "cancelled: the file doesn't have the change yet";
    EXPECT_FALSE(QFile::exists(kit.folder.path("provisioning.obk")));

    kit.type("log", QStringLiteral("run.log"));
    kit.dialogs.confirmations = {true};
    kit.press("run");
    ASSERT_TRUE(DesktopKit::waitFor([&] { return !page->isBusy(); }));
    const QByteArray made = kit.folder.read("provisioning.obk");
    ASSERT_GT(made.size(), 12 + 32);
    EXPECT_EQ(made.mid(44 + 4, 4), QByteArray::fromHex("00000200")) << "the size that was typed";
    EXPECT_FALSE(page->isModified());

    const auto* status = kit.find<QLabel>("missing");
    EXPECT_TRUE(status->text().startsWith(QStringLiteral("Ended with status 0")) && kit.find("inspect")->isVisible());
    // The tool has written the values that it used into the template. The page must not report that as a change by
    // another program.
    kit.type("parameter Firmware area size", QStringLiteral("0x20000"));
    EXPECT_EQ(status->text(), QStringLiteral("Ready")) << "the end of a run with other values isn't shown any more";
    EXPECT_FALSE(page->findChild<QWidget*>(QStringLiteral("inspect"))->isVisible());
    EXPECT_TRUE(page->save());
    ASSERT_TRUE(QFile::remove(kit.folder.path("provisioning.obk")));
    const QString line = kit.find<QPlainTextEdit>("commandLine")->toPlainText();
    const QString folder = QFileInfo(kit.context.toolPath).path();
    outsideTool(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("PATH='%1'; ").arg(folder) + line});
    EXPECT_EQ(kit.folder.read("provisioning.obk"), made);
    EXPECT_NE(kit.folder.read("run.log"), QByteArray());

    // Opening a saved job restores its template and its other fields.
    const QString job = kit.folder.write("job.json", R"({"version": 1, "job": "provisioning-file", "values": {
        "template": "provisioning.xml", "more-templates": [{"path": "a.xml"}, {"path": "b.xml"}], "log": "b.log"}})");
    QString printed;
    QString fault;
    ASSERT_TRUE(kit.window->openFile(job));
    ASSERT_TRUE(jobs::commandLineOfJobFile(job, kit.context.toolPath, printed, fault));
    EXPECT_EQ(kit.find<QPlainTextEdit>("commandLine")->toPlainText(), printed);
    EXPECT_TRUE(printed.contains(QStringLiteral("b.xml' -l '"))) << printed.toStdString();
    EXPECT_TRUE(status->text().endsWith(QStringLiteral("wrong: More templates"))) << "there are none of these names";
}

TEST(TemplatePage, ReportsFaults) {
    DesktopKit kit;
    kit.show("template");
    const QString path = exampleTemplate(kit);
    ASSERT_TRUE(kit.window->openFile(path));
    const auto saysAnywhere = [&](const char* text) {
        for (const QLabel* label : kit.window->page()->findChildren<QLabel*>()) {
            if (label->isVisible() && label->text().contains(QString::fromUtf8(text))) {
                return true;
            }
        }
        return false;
    };
    const struct {
        const char* field;
        const char* typed;
        const char* said;
    } rows[] = {
        {"parameter Firmware area size", "0x100000000", "the field has 4 bytes, at most 0xFFFFFFFF"},
        {"parameter Firmware area size", "big", "hexadecimal with 0x, or decimal"},
        {"parameter Firmware area size", "0x40001", "alignment constraint"},
        {"parameter Firmware area size", "0x40000", "4 bytes, 262,144"},
        {"parameter Authentication key", "./provisioning.xml", "bytes, taken as is"},
        {"log", "provisioning.xml", "This is the file of “Template”, which the tool doesn't overwrite."},
        {"parameter Authentication key", "./no.pem", "no such file"},
    };
    for (const auto& row : rows) {
        kit.type(row.field, QLatin1String(row.typed));
        EXPECT_TRUE(saysAnywhere(row.said)) << row.typed;
    }
    kit.press("run");
    EXPECT_EQ(QApplication::focusWidget(), kit.find("parameter Authentication key"));

    const char* refused[] = {
        "", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root><Obdata><Data><Name>x",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE Root [<!ENTITY a \"b\">]>\n<Root><Obdata/></Root>",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root><Obdata><Strange/></Obdata></Root>",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root><Other/></Root>"};
    kit.dialogs.answers.fill(desktop::SaveAnswer::discard, 5);
    for (const char* text : refused) {
        EXPECT_FALSE(kit.window->openFile(kit.folder.write("hostile.xml", text))) << text;
    }
    EXPECT_EQ(kit.dialogs.faults.size(), 5) << "one message each";
    EXPECT_FALSE(kit.dialogs.faults.contains(QString()));
    EXPECT_EQ(kit.find<QLineEdit>("parameter Authentication key")->text(), QStringLiteral("./no.pem"));
}

TEST(TemplatePage, LongTextsOfATemplateDontStretchThePage) {
    DesktopKit kit;
    kit.show("template");
    const int width = kit.window->width();
    const QByteArray endless(100000, 'N');
    ASSERT_TRUE(kit.window->openFile(kit.folder.write(
        "long.xml", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root><Obdata><Info><Title>" + endless +
                        "</Title><GlobalAlign>1</GlobalAlign></Info><Data><Name>" + endless +
                        "</Name><Width>1</Width>" + "<Default>" + endless + "</Default><Tooltip>" + endless +
                        "</Tooltip></Data><List><Name>l</Name>" + "<Width>1</Width><Default>1</Default><Val>" +
                        endless + "</Val></List><Output><Name>o</Name>" + "<Default>./" + endless +
                        "</Default></Output></Obdata></Root>\n")));
    QTest::qWait(20);
    EXPECT_EQ(kit.window->width(), width);
    EXPECT_LE(kit.window->page()->minimumSizeHint().width(), width);
}

TEST(TemplatePage, HidesAndLocksFieldsAsTheTemplateRequires) {
    DesktopKit kit;
    desktop::Page* page = kit.show("template");
    const QByteArray text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root><Obdata><Info><GlobalAlign>1</GlobalAlign></Info>"
        "<Bool><Name>On</Name><Width>1</Width><Default>1</Default><True>0x1</True><False>0x0</False></Bool>"
        "<Data><Name>Deep</Name><Width>1</Width><Default>3</Default><Dependency>On</Dependency></Data>"
        "<Data><Name>Secret</Name><Width>1</Width><Default>4</Default><Hidden>1</Hidden></Data>"
        "<List><Name>Deep</Name><Width>2</Width><Default>0x0200</Default><Val>1</Val><Val>512</Val></List>"
        "<Permission><Name>Rights</Name><Width>4</Width><Default>0x21</Default></Permission>"
        "<Output><Name>Out &amp; more</Name><Default>./o.obk</Default></Output></Obdata></Root>\n";
    const QString path = kit.folder.write("t.xml", text);
    ASSERT_TRUE(kit.window->openFile(path));
    EXPECT_TRUE(kit.window->page()->findChildren<QWidget*>(QStringLiteral("parameter Secret")).isEmpty());
    toggle(kit, "parameter On");
    const auto* deep = kit.window->page()->findChild<QLineEdit*>(QStringLiteral("parameter Deep"));
    EXPECT_TRUE(deep != nullptr && (!deep->isEnabled() || deep->isReadOnly()));
    toggle(kit, "parameter On");
    EXPECT_FALSE(page->isModified()) << "back where it began: the template says 1, not 0x1";
    kit.type("parameter Rights", QStringLiteral("0x80000001"));
    kit.type("parameter Out & more", QStringLiteral("./a<b.obk"));
    ASSERT_TRUE(page->save());
    const QByteArray saved = fileContent(path);
    EXPECT_TRUE(saved.contains("<Value>0x80000001</Value>") && saved.contains("<Value>./a&lt;b.obk</Value>"));
    EXPECT_EQ(saved.count("<Value>"), 2);
    kit.press("run");
    ASSERT_TRUE(DesktopKit::waitFor([&] { return !page->isBusy(); }));
    EXPECT_EQ(kit.folder.read("a<b.bin"), QByteArray::fromHex("0103040002")) << "the permission needs another mode";
}

}  // namespace
