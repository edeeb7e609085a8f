#include "tests/desktop/DesktopKit.h"

#include <QAbstractItemModelTester>
#include <QAbstractItemView>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <QUndoStack>

#include <gtest/gtest.h>

namespace {

constexpr const char* page = "option-bytes";

/// Shows the page and waits until it has read the device descriptions.
void begin(DesktopKit& kit) {
    kit.show(page);
    const auto* devices = kit.find<QComboBox>("device");
    ASSERT_TRUE(DesktopKit::waitFor([devices] { return devices->count() == 1; }));
}

void chooseWord(DesktopKit& kit, int row) {
    QWidget* words = kit.find("words");
    words->setFocus();
    QTest::keyClick(words, Qt::Key_Home);
    for (int i = 0; i < row; ++i) {
        QTest::keyClick(words, Qt::Key_Down);
    }
}

bool showsText(const DesktopKit& kit, const QString& text) {
    const QList<QLabel*> labels = kit.window->page()->findChildren<QLabel*>();
    return std::any_of(labels.begin(), labels.end(),
                       [&text](const QLabel* label) { return label->isVisible() && label->text().contains(text); });
}

TEST(OptionBytePage, EditsOnlyTheNumbersOfChangedWords) {
    const QByteArray example = fileContent(QStringLiteral(QVORA_EXAMPLES "/firmware/option-bytes.csv"));
    DesktopKit kit;
    begin(kit);
    const QString path = kit.folder.write("o.csv", example + "VENDOR WORD , 017\r\n");
    ASSERT_TRUE(kit.window->openFile(path));
    const QAbstractItemModelTester tester(kit.find<QAbstractItemView>("words")->model());
    EXPECT_EQ(kit.find<QComboBox>("device")->currentIndex(), 0);

    chooseWord(kit, 0);
    kit.find("word")->setFocus();
    QTest::keyClick(kit.find("word"), Qt::Key_Tab);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Down);  // changes the level from Open to Guarded
    chooseWord(kit, 1);
    QTest::keyClick(kit.find("field.Chime"), Qt::Key_Space);
    kit.type("field.Pause.number", QStringLiteral("7"));  // a value without a name
    EXPECT_EQ(kit.find<QComboBox>("field.Pause")->currentText(), QStringLiteral("Other: 0x7"));
    chooseWord(kit, 3);
    kit.type("field.Attempts", QStringLiteral("0x1f"));
    chooseWord(kit, 8);
    kit.find("bits")->setFocus();
    QTest::keyClick(kit.find("bits"), Qt::Key_Home);
    QTest::keyClick(kit.find("bits"), Qt::Key_Space);
    chooseWord(kit, 9);
    kit.type("word", QStringLiteral("1FF"));
    EXPECT_TRUE(kit.window->isWindowModified());
    QTest::keyClick(kit.find("word"), Qt::Key_S, Qt::ControlModifier);

    QByteArray expected = example;
    expected.replace("PROTECTION,0x500", "PROTECTION,0x600").replace("0x30000210", "0x30002270");
    expected.replace("RETRIES,0x00000000", "RETRIES,0x0000001F").replace("SEAL,0x0", "SEAL,0x8");
    EXPECT_EQ(kit.folder.read("o.csv"), expected + "VENDOR WORD , 0777\r\n");
    EXPECT_FALSE(kit.window->isWindowModified());
}

TEST(OptionBytePage, UndoesStepsBackToTheFile) {
    DesktopKit kit;
    begin(kit);
    ASSERT_TRUE(kit.window->openFile(QStringLiteral(QVORA_EXAMPLES "/firmware/option-bytes.csv")));
    QUndoStack& steps = *kit.window->page()->undoStack();
    chooseWord(kit, 1);
    for (int i = 0; i < 3; ++i) {
        QTest::keyClick(kit.find("field.Chime"), Qt::Key_Space);
    }
    EXPECT_EQ(steps.count(), 1) << "one field, one step";
    QTest::keyClick(kit.find("field.Chime"), Qt::Key_Space);
    EXPECT_EQ(steps.count(), 0) << "where it began";
    QTest::keyClick(kit.find("field.Chime"), Qt::Key_Space);
    kit.type("field.Pause.number", QStringLiteral("3"));
    EXPECT_EQ(steps.count(), 2);

    // Text in a field that still has the focus counts as a change. Leaving the word makes it a step.
    auto* word = kit.find<QLineEdit>("word");
    word->setFocus();
    QTest::keyClicks(word, QStringLiteral("0"));
    EXPECT_TRUE(kit.window->isWindowModified());
    chooseWord(kit, 0);
    EXPECT_EQ(word->text(), QStringLiteral("0x00000500"));
    QTest::keyClick(kit.find("words"), Qt::Key_Z, Qt::ControlModifier);
    QCoreApplication::processEvents();
    EXPECT_EQ(word->text(), QStringLiteral("0x30002210")) << "the word of the step is shown";
    QTest::keyClick(kit.find("words"), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_FALSE(kit.window->isWindowModified());
    EXPECT_EQ(word->text(), QStringLiteral("0x30000210"));

    // Undo from the menu: the field keeps the focus. Its text becomes a step when the field loses the focus.
    steps.redo();
    chooseWord(kit, 3);
    kit.find("field.Attempts")->setFocus();
    QTest::keyClicks(kit.find("field.Attempts"), QStringLiteral("1"));
    steps.undo();
    QCoreApplication::processEvents();
    EXPECT_EQ(word->text(), QStringLiteral("0x30000210"));
    EXPECT_TRUE(kit.window->isWindowModified()) << "by the entry";
    steps.undo();
    EXPECT_FALSE(kit.window->isWindowModified());
}

TEST(OptionBytePage, ReportsFaultsAndChangesNothing) {
    DesktopKit kit;
    begin(kit);
    const QString path = kit.folder.write("o.csv", "RETRIES,0x00000000\n");
    ASSERT_TRUE(kit.window->openFile(path));
    const struct {
        const char* editor;
        const char* entry;
        const char* reason;
    } rows[] = {
        {"field.Attempts", "0x10000", "At most 0xFFFF fits."},
        {"field.Attempts", "12ab", "A number is needed, such as 31 or 0x1F."},
        {"field.Attempts", "", "A number is needed"},
        {"word", "0x100000000", "At most 0xFFFFFFFF fits."},
        {"word", "-1", "A hexadecimal number is needed, such as 0x1F."},
    };
    for (const auto& row : rows) {
        kit.type(row.editor, QLatin1String(row.entry));
        EXPECT_TRUE(showsText(kit, QLatin1String(row.reason))) << row.entry;
        EXPECT_FALSE(kit.window->page()->save()) << "a save would leave the entry out";
        EXPECT_EQ(QApplication::focusWidget(), kit.find(row.editor));
        QTest::keyClick(kit.find(row.editor), Qt::Key_Escape);
        EXPECT_FALSE(kit.window->isWindowModified());
    }
    EXPECT_EQ(kit.window->page()->undoStack()->count(), 0);

    const QString hostile = kit.folder.write("h.csv", "<b>LAMP</b>,0xAA\nSTART,0xGG\n");
    EXPECT_FALSE(kit.window->openFile(hostile));
    ASSERT_EQ(kit.dialogs.faults.size(), 1);
    EXPECT_TRUE(
        kit.dialogs.faults.first().contains(QStringLiteral("line 2, column 7: A number of 32 bits is expected")));
    EXPECT_EQ(kit.window->page()->documentName(), QStringLiteral("o.csv"));
    EXPECT_TRUE(showsText(kit, QStringLiteral("RETRIES")));
}

TEST(OptionBytePage, LosesNoChangeWithoutAQuestion) {
    DesktopKit quick;
    begin(quick);
    ASSERT_TRUE(quick.window->openFile(QStringLiteral(QVORA_EXAMPLES "/firmware/option-bytes.csv")));
    quick.dialogs.paths = {quick.folder.path("")};
    quick.press("descriptions");
    quick.find("word")->setFocus();
    QTest::keyClick(quick.find("word"), Qt::Key_Backspace);
    QTest::keyClicks(quick.find("word"), QStringLiteral("B"));
    const auto* remarks = quick.window->page()->findChild<QAbstractItemView*>(QStringLiteral("remarks"));
    ASSERT_TRUE(DesktopKit::waitFor([remarks] { return remarks->model()->rowCount() == 1; }));
    EXPECT_EQ(quick.find<QLineEdit>("word")->text(), QStringLiteral("0x0000050B")) << "typed before other fields came";
    EXPECT_TRUE(quick.window->isWindowModified());

    DesktopKit kit;
    begin(kit);
    kit.find("device")->setFocus();
    QTest::keyClick(kit.find("device"), Qt::Key_Down);
    EXPECT_EQ(kit.window->page()->documentName(), QStringLiteral("Untitled"));
    chooseWord(kit, 1);
    QTest::keyClick(kit.find("field.Chime"), Qt::Key_Space);
    kit.press("newTable");  // without a prepared answer the question is cancelled
    EXPECT_TRUE(kit.window->isWindowModified());
    kit.dialogs.answers = {desktop::SaveAnswer::save};
    kit.dialogs.paths = {kit.folder.path("none/new.csv")};
    kit.press("newTable");
    EXPECT_EQ(kit.dialogs.faults.size(), 1);
    EXPECT_TRUE(kit.window->isWindowModified());
    kit.dialogs.paths = {kit.folder.path("new")};
    QTest::keyClick(kit.find("words"), Qt::Key_S, Qt::ControlModifier);
    EXPECT_TRUE(kit.folder.read("new.csv").startsWith("PROTECTION,0x00000500\nSTART,0x30002210\n"));

    // The page shows that another program changed the file, and doesn't overwrite that change without a question.
    const QString path = kit.folder.write("new.csv", "PROTECTION,1\n");
    EXPECT_TRUE(
        DesktopKit::waitFor([&kit] { return showsText(kit, QStringLiteral("was changed by another program")); }));
    QTest::keyClick(kit.find("field.Chime"), Qt::Key_Space);
    EXPECT_FALSE(kit.window->page()->save());
    EXPECT_EQ(kit.folder.read("new.csv"), "PROTECTION,1\n");
    kit.dialogs.confirmations = {true};
    kit.press("reload");
    EXPECT_EQ(kit.find<QLineEdit>("word")->text(), QStringLiteral("0x00000001"));
    EXPECT_FALSE(kit.window->isWindowModified());
}

TEST(OptionBytePage, OpensOneDroppedFileAndAsksAboutChanges) {
    DesktopKit kit;
    begin(kit);
    const QString a = kit.folder.write("a.csv", "PROTECTION,1\n");
    const QString b = kit.folder.write("b.csv", "PROTECTION,2\n");
    DesktopKit::drop(*kit.window->page(), {a, b});
    EXPECT_EQ(kit.window->page()->documentName(), QString());
    DesktopKit::drop(*kit.window->page(), {a});
    EXPECT_EQ(kit.window->page()->documentName(), QStringLiteral("a.csv"));
    kit.type("word", QStringLiteral("0x00000007"));
    DesktopKit::drop(*kit.window->page(), {b});  // without a prepared answer the question is cancelled
    EXPECT_EQ(kit.window->page()->documentName(), QStringLiteral("a.csv"));
    kit.dialogs.answers = {desktop::SaveAnswer::discard};
    DesktopKit::drop(*kit.window->page(), {b});
    EXPECT_EQ(kit.window->page()->documentName(), QStringLiteral("b.csv"));
    EXPECT_EQ(kit.find<QLineEdit>("word")->text(), QStringLiteral("0x00000002"));
}

}  // namespace
