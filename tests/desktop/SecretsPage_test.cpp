#include "desktop/secrets/SecretsDocument.h"
#include "images/secretsGenerator.h"
#include "tests/desktop/DesktopKit.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QTableView>
#include <QTest>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

constexpr const char* example = QVORA_EXAMPLES "/secrets/secrets.json";

/// Shows the page, waits for the device description, then opens a document.
bool openDocument(DesktopKit& kit, const QString& path) {
    kit.show("secrets");
    const auto* device = kit.find<QComboBox>("device");
    return DesktopKit::waitFor(
               [device] { return device->currentText() == QLatin1String("0x505  Example device for fuses"); }) &&
           kit.window->openFile(path);
}

/// The texts of the table, one line for each item.
QString shownItems(DesktopKit& kit) {
    const QAbstractItemModel* model = kit.find<QTableView>("items")->model();
    QStringList lines;
    for (int row = 0; row < model->rowCount(); ++row) {
        QStringList cells;
        for (int column = 0; column < model->columnCount(); ++column) {
            cells += model->index(row, column).data().toString();
        }
        lines += cells.join(u'|');
    }
    return lines.join(u'\n');
}

QString said(DesktopKit& kit, const char* label) {
    const auto* found = kit.window->page()->findChild<QLabel*>(QLatin1String(label));
    return found->isVisible() ? found->text() : QString();
}

/// Makes an image from the items on the page and returns its bytes.
QByteArray made(DesktopKit& kit, const char* name) {
    const QString path = kit.folder.path(name);
    kit.dialogs.paths = {path};
    kit.press("makeImage");
    EXPECT_TRUE(DesktopKit::waitFor([&kit] { return !kit.window->page()->isBusy(); }));
    EXPECT_EQ(QFile::permissions(path) & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());
    return fileContent(path);
}

TEST(SecretsPage, ShowsCollisionsAndUndoesThem) {
    DesktopKit kit;
    ASSERT_TRUE(openDocument(kit, QLatin1String(example)));
    const QString before = shownItems(kit);
    EXPECT_EQ(said(kit, "collisions") + said(kit, "missing"), QString());
    EXPECT_NE(said(kit, "allGood"), QString());

    QTest::keyClick(kit.find("items"), Qt::Key_End, Qt::ControlModifier);
    kit.type("index", QStringLiteral("276"));
    EXPECT_EQ(said(kit, "collisions").toStdString(), "Collision: “Cellar key” and “Calibration” in 276–279.");
    EXPECT_EQ(said(kit, "place").toStdString(), "Collides with “Cellar key” in words 276–279.");
    EXPECT_TRUE(kit.window->isWindowModified());
    const QString path = kit.folder.path("none.bin");
    kit.dialogs.paths = {path};
    kit.press("makeImage");
    ASSERT_TRUE(DesktopKit::waitFor([&kit] { return !kit.window->page()->isBusy(); }));
    EXPECT_TRUE(said(kit, "result").startsWith(QStringLiteral("No image was made. Overlap detected")))
        << said(kit, "result").toStdString();
    EXPECT_FALSE(QFile::exists(path));

    kit.find("items")->setFocus();
    QTest::keyClick(kit.find("items"), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(shownItems(kit), before);
    EXPECT_EQ(said(kit, "collisions"), QString());
    EXPECT_FALSE(kit.window->isWindowModified());

    const QString pipe = kit.folder.path("pipe");
    ASSERT_EQ(mkfifo(qUtf8Printable(pipe), 0600), 0);
    kit.type("content", pipe);
    EXPECT_TRUE(said(kit, "unusable").endsWith(QStringLiteral("pipe” is no plain file.")));
    kit.press("makeImage");
    EXPECT_TRUE(said(kit, "result").endsWith(QStringLiteral("pipe” is no plain file."))) << "it has no writer";
    kit.find("items")->setFocus();
    QTest::keyClick(kit.find("items"), Qt::Key_Z, Qt::ControlModifier);

    kit.type("content", kit.folder.path("none.bin"));
    kit.type("nonce", kit.folder.path(""));
    EXPECT_EQ(said(kit, "unusable").toStdString(),
              "“Calibration”: There is no file “" + kit.folder.path("none.bin").toStdString() + "”.");
    EXPECT_EQ(said(kit, "allGood"), QString()) << "the item is optional, and named all the same";
    kit.type("content", QStringLiteral("calibration.bin"));
    EXPECT_TRUE(said(kit, "unusable").endsWith(QStringLiteral("is a folder.")));
    EXPECT_TRUE(shownItems(kit).contains(QStringLiteral("calibration.bin ✕")));
    kit.type("nonce", QString());
    EXPECT_EQ(said(kit, "missing").toStdString(), "Missing: nonce of “Calibration”.");
    kit.type("nonce", QStringLiteral("nonce.bin"));
    EXPECT_NE(said(kit, "allGood"), QString());

    QTest::keyClick(kit.find("items"), Qt::Key_Home, Qt::ControlModifier);
    kit.press("remove");
    EXPECT_EQ(said(kit, "missing").toStdString(), "Missing: Case colour (12).");
    kit.press("add");
    EXPECT_EQ(said(kit, "missing").toStdString(), "Missing: data of “Case colour”.");

    // Select another device, whose images have another layout.
    kit.find("device")->setFocus();
    QTest::keyClick(kit.find("device"), Qt::Key_End);
    EXPECT_TRUE(said(kit, "misplaced").startsWith(QStringLiteral("No place on this device: “Melody” (17–18), “C")));
    kit.type("content", QStringLiteral("0x00000001"));
    kit.press("makeImage");
    EXPECT_TRUE(said(kit, "result").startsWith(QStringLiteral("An image of this device takes word 56 from its first")));
}

TEST(SecretsPage, MakesTheImagesOfTheLibraryAndReadsThemBack) {
    DesktopKit kit;
    ASSERT_TRUE(openDocument(kit, QLatin1String(example)));
    const QByteArray image = made(kit, "window.bin");

    QDir::setCurrent(QLatin1String(QVORA_EXAMPLES "/secrets"));
    QList<SecretItem> items;
    ASSERT_EQ(parseSecretsJson(QLatin1String(example), items), 0);
    ASSERT_EQ(generateSecrets(0x505, items, kit.folder.path("library.bin")), 29);
    EXPECT_EQ(image, fileContent(kit.folder.path("library.bin")));
    QDir::setCurrent(QDir::tempPath());

    kit.dialogs.paths = {kit.folder.path("window.bin")};
    kit.press("readImage");
    EXPECT_FALSE(shownItems(kit).contains(QStringLiteral("0x0000002A"))) << "a secret is shown unasked";
    kit.press("showData");
    EXPECT_EQ(shownItems(kit).section(u'\n', 0, 1).toStdString(),
              "Case colour|12|Words|0x0000002A|0x10000000\nMelody|17–18|Words|0x0000001F80000003|0x00000000");
    EXPECT_EQ(shownItems(kit).count(u'\n'), 7);
    EXPECT_EQ(made(kit, "again.bin"), image);

    // Saving and reopening the document doesn't change the image. `made` checks that only the owner can read it.
    kit.dialogs.paths = {kit.folder.path("read.json")};
    ASSERT_TRUE(kit.window->page()->save());
    ASSERT_TRUE(kit.window->openFile(kit.folder.path("read.json")));
    EXPECT_EQ(made(kit, "third.bin"), image);

    // An image never replaces its own document.
    const QByteArray document = kit.folder.read("read.json");
    kit.dialogs.paths = {kit.folder.path("read.json")};
    kit.press("makeImage");
    ASSERT_TRUE(DesktopKit::waitFor([&kit] { return !kit.window->page()->isBusy(); }));
    EXPECT_TRUE(said(kit, "result").endsWith(QStringLiteral("read.json”, which it is made from.")));
    EXPECT_EQ(kit.folder.read("read.json"), document);
}

TEST(SecretsPage, SavingChangesNothingElse) {
    DesktopKit kit;
    QByteArray text = fileContent(QLatin1String(example));
    text = "\xEF\xBB\xBF" + text.replace("\"Files\"", "\"F\\u0069les\"")
                                .replace("\"Name\": \"Melody\"", "\"y\":[1.0,{\"Name\":\"}\"}],\"N\\u0061me\" : \"a\"");
    const QString path = kit.folder.write("secrets.json", text);
    ASSERT_TRUE(openDocument(kit, path));
    ASSERT_TRUE(kit.window->page()->save());
    EXPECT_EQ(fileContent(path), text);
    QTest::keyClick(kit.find("items"), Qt::Key_Down);
    kit.type("name", QStringLiteral("a \"b\""));
    kit.type("index", QStringLiteral("18"));
    ASSERT_TRUE(kit.window->page()->save());
    EXPECT_EQ(fileContent(path), QByteArray(text).replace("\"a\"", "\"a \\\"b\\\"\"").replace("\"0x11\"", "\"0x12\""));
    const QString shown = shownItems(kit);
    kit.folder.write("secrets.json", text);
    EXPECT_FALSE(kit.window->page()->save()) << "another program's change isn't lost without a question";
    EXPECT_EQ(fileContent(path), text);

    const std::pair<QByteArray, const char*> hostile[] = {
        {"", "This is no JSON"},
        {text.first(text.size() - 3), "This is no JSON"},
        {QByteArray(5000, '['), "This is no JSON"},
        {"[1]", "no list “Files”"},
        {"{\"Files\": {}}", "no list “Files”"},
        {"{\"Files\": [1]}", "Item 1 of the document: Invalid json item"},
        {QByteArray(text).replace("\"0xC\"", "\"0x10000\""), "The index 65536 is beyond 65535"},
        {QByteArray(text).replace("\"0xC\"", "\"x\\u202Ey\""), "Invalid hexadecimal value : x\\x202ey"},
        {"{\"Files\": [" + QByteArray("{},").repeated(4096) + "{}]}", "may have 4096 items"},
    };
    for (const auto& [content, fault] : hostile) {
        kit.dialogs.faults.clear();
        EXPECT_FALSE(kit.window->openFile(kit.folder.write("hostile.json", content)));
        ASSERT_EQ(kit.dialogs.faults.size(), 1);
        EXPECT_TRUE(kit.dialogs.faults.first().contains(QString::fromUtf8(fault)))
            << kit.dialogs.faults.first().toStdString();
        EXPECT_EQ(shownItems(kit), shown);
    }
}

}  // namespace
