#include "desktop/inspector/ByteView.h"
#include "desktop/run/CommandLineView.h"
#include "tests/desktop/DesktopKit.h"
#include "tests/desktop/sampleImages.h"

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QTabWidget>
#include <QTableView>
#include <QTest>
#include <QTreeView>

#include <gtest/gtest.h>

namespace {

const QString key = QStringLiteral(QVORA_EXAMPLES "/firmware/key.bin");

/// The page and the parts of it that a user sees.
struct Inspector {
    DesktopKit kit;
    QString verdict;

    Inspector() { kit.show("inspect"); }

    [[nodiscard]] QString headline() {
        const auto* label = kit.window->page()->findChild<QLabel*>(QStringLiteral("verdict"));
        return label->isVisible() ? label->text() : QString();
    }
    /// Waits until the verdict begins with `start`. Returns false if it never does.
    [[nodiscard]] bool says(const QString& start) {
        return DesktopKit::waitFor([&] { return headline().startsWith(start); });
    }
    void prove() {
        kit.find<QTabWidget>("tabs")->setCurrentIndex(2);
        kit.type("key", key);
        kit.press("run");
    }
    QTreeView* tree() { return kit.find<QTreeView>("tree"); }
    /// The first child of the file in the tree whose name begins with `name`.
    QModelIndex line(const QString& name) {
        QAbstractItemModel* model = tree()->model();
        const QModelIndex file = model->index(0, 0);
        for (int row = 0; row < model->rowCount(file); ++row) {
            if (model->index(row, 0, file).data().toString().startsWith(name)) {
                return model->index(row, 0, file);
            }
        }
        return {};
    }
    [[nodiscard]] QStringList column(const char* view, int column) {
        const auto* model = kit.window->page()->findChild<QAbstractItemView*>(QLatin1String(view))->model();
        QStringList texts;
        for (int row = 0; row < model->rowCount(); ++row) {
            texts.append(model->index(row, column).data().toString());
        }
        return texts;
    }
};

TEST(InspectPage, ProvesAnImageWithItsKeyAndNamesTheAreaThatIsWrong) {
    Inspector page;
    const QString image = makeInstallImage(page.kit, "product.tbi");
    ASSERT_TRUE(page.kit.window->openFile(image));
    ASSERT_TRUE(page.says(QStringLiteral("Can't be judged: no key given")));
    EXPECT_TRUE(page.line(QStringLiteral("area 5 C")).isValid());
    EXPECT_EQ(page.column("map", 1),
              QStringList({QStringLiteral("0x04000000"), QStringLiteral("0x04000114"), QStringLiteral("0x08010000"),
                           QStringLiteral("0x0801C738"), QStringLiteral("0x08100000")}));
    page.prove();
    ASSERT_TRUE(page.says(QStringLiteral("Proven: 5 tags and 1 digest good")));
    EXPECT_EQ(page.column("checks", 1).count(QStringLiteral("good")), 8);

    ASSERT_TRUE(page.kit.window->openFile(changedCopy(page.kit, image, "changed.tbi", 334 + 40, "x")));
    ASSERT_TRUE(page.says(QStringLiteral("Wrong: area 2 F firmware: tag wrong")));
}

TEST(InspectPage, ShowsTheOutputOfTheShownCommandLine) {
    Inspector page;
    ASSERT_TRUE(page.kit.window->openFile(makeInstallImage(page.kit, "product's.tbi")));
    ASSERT_TRUE(page.says(QStringLiteral("Can't be judged")));
    page.prove();
    ASSERT_TRUE(page.says(QStringLiteral("Proven")));
    page.kit.press("copyReport");
    const QString shown = page.kit.find<desktop::CommandLineView>("commandLine")->toPlainText();
    ASSERT_TRUE(shown.startsWith(QStringLiteral("qvora-inspect ")));
    QProcess shell;
    shell.start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral(QVORA_INSPECT) + shown.mid(13)});
    ASSERT_TRUE(shell.waitForFinished());
    EXPECT_EQ(shell.exitCode(), 0);
    const QString report = QApplication::clipboard()->text();
    EXPECT_TRUE(
        report.endsWith(QStringLiteral("$ ") + shown + u'\n' + QString::fromUtf8(shell.readAllStandardOutput())))
        << report.toStdString();
}

TEST(InspectPage, SelectsTheSamePartInTreeBytesAndMap) {
    Inspector page;
    ASSERT_TRUE(page.kit.window->openFile(makeInstallImage(page.kit, "product.tbi")));
    ASSERT_TRUE(page.says(QStringLiteral("Can't be judged")));
    page.kit.find<QTabWidget>("tabs")->setCurrentIndex(0);
    auto* bytes = page.kit.find<desktop::ByteView>("bytes");
    page.tree()->setCurrentIndex(page.line(QStringLiteral("area 2 F")));
    EXPECT_EQ(bytes->chosenOffset(), 334);
    EXPECT_EQ(bytes->chosenSize(), 30 + 51000);
    EXPECT_EQ(page.kit.find<QAbstractItemView>("map")->currentIndex().row(), 2);

    // A byte selects the narrowest part that contains it: the tag of the second area, at offset 14 of its header.
    page.kit.type("goTo", QStringLiteral("0x166"));
    QTest::keyClick(page.kit.find("goTo"), Qt::Key_Return);
    EXPECT_EQ(page.tree()->currentIndex().siblingAtColumn(0).data().toString(), QStringLiteral("tag"));
    EXPECT_EQ(bytes->chosenOffset(), 334 + 14);
    EXPECT_EQ(bytes->chosenSize(), 16);

    page.kit.find("map")->setFocus();
    QTest::keyClick(page.kit.find("map"), Qt::Key_End);
    EXPECT_EQ(page.tree()->currentIndex(), page.line(QStringLiteral("area 3 F")));
    EXPECT_EQ(bytes->chosenOffset(), 51364);
}

TEST(InspectPage, ShowsPlaintextOnlyOfProvenFilesAndOnDemand) {
    Inspector page;
    const QString image = makeInstallImage(page.kit, "product.tbi");
    ASSERT_TRUE(page.kit.window->openFile(image));
    ASSERT_TRUE(page.says(QStringLiteral("Can't be judged")));
    EXPECT_FALSE(page.kit.window->page()->findChild<QWidget*>(QStringLiteral("plain"))->isEnabled());
    page.prove();
    ASSERT_TRUE(page.says(QStringLiteral("Proven")));
    page.kit.find<QTabWidget>("tabs")->setCurrentIndex(0);
    page.tree()->setCurrentIndex(page.line(QStringLiteral("area 2 F")));
    auto* bytes = page.kit.find<desktop::ByteView>("bytes");
    page.kit.press("plain");
    EXPECT_TRUE(DesktopKit::waitFor([&] { return bytes->bytes().startsWith("calibration data "); }));
    page.tree()->setCurrentIndex(page.line(QStringLiteral("content of area 1 F")));
    EXPECT_EQ(bytes->bytes().size(), 276);
    page.kit.press("plain");
    EXPECT_TRUE(bytes->bytes().startsWith("TBIMAGIC"));
}

TEST(InspectPage, NamesWhatAnImageHolds) {
    Inspector page;
    ASSERT_TRUE(page.kit.window->openFile(makeInstallImage(page.kit, "product.tbi")));
    ASSERT_TRUE(page.says(QStringLiteral("Can't be judged")));
    EXPECT_FALSE(page.line(QStringLiteral("content of")).isValid());
    page.kit.find<QTabWidget>("tabs")->setCurrentIndex(2);
    page.kit.type("devices", QStringLiteral(QVORA_DATA_BASE));
    page.prove();
    ASSERT_TRUE(page.says(QStringLiteral("Proven")));
    const QModelIndex options = page.line(QStringLiteral("content of area 5 C"));
    ASSERT_TRUE(options.isValid());
    const QAbstractItemModel* const model = options.model();
    QStringList lines;
    for (int row = 0; row < model->rowCount(options); ++row) {
        QStringList columns;
        for (int column = 0; column < 3; ++column) {
            columns << model->index(row, column, options).data().toString();
        }
        lines << columns.join(u'|');
        const QModelIndex line = model->index(row, 0, options);
        for (int field = 0; field < model->rowCount(line); ++field) {
            lines << model->index(field, 0, line).data().toString() + u'=' +
                         model->index(field, 1, line).data().toString() + u' ' +
                         model->index(field, 2, line).data().toString();
        }
    }
    EXPECT_TRUE(lines.contains(QStringLiteral("device|Example device for option bytes|")));
    EXPECT_TRUE(lines.contains(QStringLiteral("PROTECTION|0x00000500|Level 5 (Open)")));
    EXPECT_TRUE(lines.contains(QStringLiteral("Greeting=1 Spoken")));
    EXPECT_EQ(page.column("map", 1).size(), 5);  // the contents add no areas
}

TEST(InspectPage, ComparesTwoFiles) {
    Inspector page;
    ASSERT_TRUE(page.kit.window->openFile(makeInstallImage(page.kit, "product.tbi")));
    ASSERT_TRUE(page.says(QStringLiteral("Can't be judged")));
    page.kit.dialogs.paths = QStringList{makeInstallImage(page.kit, "product-2.tbi", 2)};
    page.kit.press("compare");
    ASSERT_TRUE(page.says(QStringLiteral("Different in 2 points")));  // version and size differ even without the key
    page.prove();
    ASSERT_TRUE(page.says(QStringLiteral("Different in 4 points")));
    EXPECT_TRUE(page.column("differences", 0).contains(QStringLiteral("image version 1 -> 2")));
    EXPECT_TRUE(page.kit.window->page()
                    ->findChild<QLabel*>(QStringLiteral("verdictDetail"))
                    ->text()
                    .contains(QStringLiteral("version 1 -> 2.")));
    page.kit.press("endComparison");
    EXPECT_TRUE(page.says(QStringLiteral("Proven")));
}

TEST(InspectPage, ShowsTheReadablePartOfEveryHostileFile) {
    Inspector page;
    QFile file(makeInstallImage(page.kit, "product.tbi"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray image = file.readAll();
    // An area of size 0, repeated as often as the header can count.
    QByteArray many = image.first(10) + QByteArray::fromHex("FFFF") + image.sliced(12, 16);
    QByteArray area = image.sliced(28, 30);
    area.replace(4, 4, QByteArray(4, '\0'));
    area.replace(12, 2, QByteArray::fromHex("FFFF"));
    many += area.repeated(65535);
    const struct {
        const char* name;
        QByteArray bytes;
        const char* verdict;
    } rows[] = {
        {"empty.tbi", {}, "Wrong: "},
        {"cut.tbi", image.first(400), "Wrong: area 2 F firmware: cut off"},
        {"header.tbi", image.first(20), "Wrong: cut off"},
        {"many.tbi", many, "Wrong: "},
        {"letters.tbi", QByteArray(image).replace(image.indexOf('F', 28), 1, "\x1b"), "Wrong: area 1 "},
        {"unknown.dat", QByteArray(70000, '\xff'), "Can't be judged: no known format"},
        {"broken.hex", ":10000000FFFF\n", "Wrong: "},
        {"broken.elf",
         QByteArray("\x7f"
                    "ELF\x01\x01\x01") +
             QByteArray(80, '\xff'),
         "Wrong: "},
    };
    for (const auto& row : rows) {
        const QString path = page.kit.folder.path(row.name);
        QFile written(path);
        ASSERT_TRUE(written.open(QIODevice::WriteOnly) && written.write(row.bytes) == row.bytes.size());
        written.close();
        // The page shows the file that was opened last.
        ASSERT_TRUE(page.kit.window->openFile(file.fileName()));
        ASSERT_TRUE(page.kit.window->openFile(path));
        const auto* detail = page.kit.window->page()->findChild<QLabel*>(QStringLiteral("verdictDetail"));
        ASSERT_TRUE(DesktopKit::waitFor([&] { return detail->text().startsWith(QLatin1String(row.name)); }))
            << row.name;
        EXPECT_TRUE(page.headline().startsWith(QLatin1String(row.verdict)))
            << row.name << ": " << page.headline().toStdString();
        if (row.bytes.size() < 100000) {
            for (const char* const view : {"tree", "map", "checks"}) {
                const auto* shown = page.kit.window->page()->findChild<QAbstractItemView*>(QLatin1String(view));
                const QAbstractItemModelTester tester(shown->model(),
                                                      QAbstractItemModelTester::FailureReportingMode::Fatal);
            }
            page.tree()->expandAll();
        } else {
            EXPECT_GE(page.tree()->model()->rowCount(page.tree()->model()->index(0, 0)), 65535);
        }
    }
}

}  // namespace
