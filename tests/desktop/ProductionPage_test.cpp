#include "tests/desktop/productionFiles.h"
#include "tests/support/outsideTool.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTest>
#include <QTreeWidget>

#include <gmock/gmock.h>

namespace {

/// The kit with qvora-produce beside the tool, as an installed package has them.
class ProductionKit : public DesktopKit {
  public:
    ProductionKit() {
        context.toolPath = folder.path("QVORASealedBundleBuilder_CLI");
        QFile::link(QStringLiteral(QVORA_TOOL), context.toolPath);
        QFile::link(QStringLiteral(QVORA_PRODUCE), folder.path("qvora-produce"));
        show("production");
    }

    [[nodiscard]] std::string stateAfterOpening(const QString& path) {
        const std::string before = state();
        EXPECT_TRUE(window->openFile(path));
        EXPECT_TRUE(waitFor([&] { return state() != before; }));
        return state();
    }
    [[nodiscard]] std::string state() { return find<QLabel>("ledgerState")->text().toStdString(); }
    /// Presses the button of the draft and waits until the check has ended.
    [[nodiscard]] std::string check() {
        press("checkJob");
        const auto* label = find<QLabel>("draftState");
        EXPECT_TRUE(waitFor([label] { return !label->text().isEmpty() && !label->text().startsWith(u"Checking"); }));
        return label->text().toStdString();
    }
    [[nodiscard]] QJsonObject job(const char* name) const {
        return QJsonDocument::fromJson(fileContent(folder.path(name))).object();
    }
    void editValue(int step, const QString& field, const QString& text) {
        auto* tree = find<QTreeWidget>("steps");
        QTreeWidgetItem* const top = tree->topLevelItem(step);
        for (int i = 0; i < top->childCount(); ++i) {
            if (top->child(i)->text(0) == field) {
                tree->setFocus();
                tree->setCurrentItem(top->child(i));
                QTest::keyClick(tree, Qt::Key_Return);
                auto* editor = tree->findChild<QLineEdit*>();
                ASSERT_NE(editor, nullptr);
                editor->selectAll();
                QTest::keyClicks(editor, text);
                QTest::keyClick(editor, Qt::Key_Return);
                EXPECT_TRUE(waitFor([tree] { return tree->findChild<QLineEdit*>() == nullptr; }));
                return;
            }
        }
        FAIL() << "the step has no field " << qPrintable(field);
    }
};

qint64 countIn(const QString& ledger, const char* query) {
    return outsideTool(QStringLiteral("sqlite3"), {ledger, QLatin1String(query)}).trimmed().toLongLong();
}

TEST(ProductionPage, ShowsWhatIsInTheLedger) {
    ProductionKit kit;
    const QString ledger = kit.folder.path("line.db");
    ASSERT_EQ(makeSampleLedger(ledger).toStdString(), "");
    EXPECT_THAT(kit.stateAfterOpening(ledger), testing::StartsWith("line.db, read at "));
    const qint64 proven =
        countIn(ledger,
                "SELECT count(*) FROM outcome o WHERE kind = 'proven' AND product = 'meter-a' AND NOT EXISTS "
                "(SELECT 1 FROM recall r WHERE r.product = o.product AND r.serial = o.serial AND r.attempt = "
                "o.attempt)");
    ASSERT_GT(proven, 0);
    EXPECT_THAT(kit.find<QLabel>("counts")->text().toStdString(),
                testing::HasSubstr("meter-a: " + QLocale().toString(proven).toStdString() + " proven"));
    const auto* failures = kit.find<QTreeWidget>("failures");
    EXPECT_EQ(failures->topLevelItemCount(),
              countIn(ledger, "SELECT count(DISTINCT product || '/' || serial) FROM outcome WHERE kind = 'failed'"));
    EXPECT_FALSE(failures->topLevelItem(0)->text(4).isEmpty());
    const auto* keys = kit.window->findChild<QTreeWidget*>(QStringLiteral("keys"));
    EXPECT_EQ(keys->topLevelItemCount(), countIn(ledger, "SELECT count(*) FROM key"));
    const auto* stations = kit.window->findChild<QTreeWidget*>(QStringLiteral("stations"));
    EXPECT_EQ(stations->topLevelItemCount(), countIn(ledger, "SELECT count(*) FROM station"));
}

TEST(ProductionPage, SaysWhyALedgerCannotBeShown) {
    ProductionKit kit;
    EXPECT_THAT(kit.stateAfterOpening(kit.folder.path("none.db")), testing::HasSubstr("there is no ledger"));
    EXPECT_THAT(kit.stateAfterOpening(kit.folder.write("notes.db", "no ledger")), testing::HasSubstr("isn't a ledger"));
    EXPECT_EQ(fileContent(kit.folder.path("notes.db")), "no ledger");
    QFile::remove(kit.folder.path("qvora-produce"));
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", "/nowhere");
    kit.press("refresh");
    qputenv("PATH", path);
    EXPECT_THAT(kit.state(), testing::HasSubstr("qvora-sealed-bundle-builder-production"));
}

TEST(ProductionPage, EndsAProgramThatIsReplacedByAnother) {
    ProductionKit kit;
    QFile::remove(kit.folder.path("qvora-produce"));
    kit.folder.write("qvora-produce",
                     "#!/bin/sh\ncase $* in *slow*) exec sleep 60 ;; esac\necho 'qvora-produce: none' >&2; exit 2\n");
    QFile::setPermissions(kit.folder.path("qvora-produce"), QFile::ReadOwner | QFile::ExeOwner);
    EXPECT_TRUE(kit.window->openFile(kit.folder.path("slow.db")));
    EXPECT_EQ(kit.stateAfterOpening(kit.folder.path("quick.db")), "none");
}

TEST(ProductionPage, WritesAJobThatTheRunnerMakes) {
    ProductionKit kit;
    EXPECT_TRUE(kit.window->openFile(saveInstallJob(kit)));
    kit.dialogs.paths = {saveInstallJob(kit, "again.json")};
    kit.press("addJobs");
    kit.type("product", QStringLiteral("meter-a"));
    kit.editValue(1, QStringLiteral("Output image"), QStringLiteral("{out}/second.tbi"));
    kit.editValue(1, QStringLiteral("Image version"), QStringLiteral("{column:version}"));
    const QString table = kit.folder.write("devices.csv", "serial,version\nSN1,7\nSN2,8\n");
    kit.dialogs.paths = {kit.folder.path("job.json"), table};
    EXPECT_THAT(kit.check(), testing::StartsWith("Ready for 2 devices"));

    const QJsonObject job = kit.job("job.json");
    EXPECT_EQ(job.value(QLatin1String("product")).toString(), QLatin1String("meter-a"));
    const QJsonArray steps = job.value(QLatin1String("steps")).toArray();
    ASSERT_EQ(steps.size(), 2);
    EXPECT_EQ(steps.at(0).toObject().value(QLatin1String("name")).toString(), QLatin1String("install-image"));
    EXPECT_EQ(steps.at(1).toObject().value(QLatin1String("name")).toString(), QLatin1String("install-image-2"));
    EXPECT_EQ(steps.at(0).toObject().value(QLatin1String("file")).toString(), QLatin1String("install.json"));

    const QString ledger = kit.folder.path("line.db");
    const QString runner = QStringLiteral(QVORA_PRODUCE);
    outsideTool(runner, {QStringLiteral("ledger"), QStringLiteral("init"), QStringLiteral("--ledger"), ledger});
    const QByteArray output =
        outsideTool(runner, {QStringLiteral("run"), kit.folder.path("job.json"), QStringLiteral("--devices"), table,
                             QStringLiteral("--ledger"), ledger, QStringLiteral("-o"), kit.folder.path("out")});
    EXPECT_THAT(output.toStdString(), testing::StartsWith("2 proven, 0 failed"));
    EXPECT_TRUE(QFile::exists(kit.folder.path("out/SN2/second.tbi")));
}

TEST(ProductionPage, ShowsTheFaultsOfATable) {
    ProductionKit kit;
    EXPECT_TRUE(kit.window->openFile(saveInstallJob(kit)));
    kit.type("product", QStringLiteral("meter-a"));
    const QString table = kit.folder.write("devices.csv", "serial\nSN1\nsn1\n");
    kit.dialogs.paths = {kit.folder.path("job.json"), table};
    const std::string found = kit.check();
    EXPECT_THAT(found, testing::StartsWith("1 fault\ndevices.csv:3:1: "));
    // A product without a name is a fault of the job, not of the table.
    kit.type("product", QStringLiteral("a b"));
    kit.dialogs.paths = {table};
    EXPECT_THAT(kit.check(), testing::HasSubstr("product"));
}

TEST(ProductionPage, StepsAreMovedRenamedAndRemoved) {
    ProductionKit kit;
    const QString path = saveInstallJob(kit);
    kit.dialogs.paths = {path, path, path};
    kit.find("production");
    EXPECT_TRUE(kit.window->openFile(path));
    kit.press("addJobs");
    auto* tree = kit.find<QTreeWidget>("steps");
    ASSERT_EQ(tree->topLevelItemCount(), 4);
    kit.press("stepUp");
    EXPECT_EQ(tree->topLevelItem(2)->text(0), QLatin1String("install-image-4"));
    EXPECT_EQ(tree->currentItem(), tree->topLevelItem(2));
    kit.press("removeStep");
    ASSERT_EQ(tree->topLevelItemCount(), 3);
    EXPECT_EQ(tree->topLevelItem(2)->text(0), QLatin1String("install-image-3"));
    tree->setFocus();
    QTest::keyClick(tree, Qt::Key_Return);
    auto* editor = tree->findChild<QLineEdit*>();
    ASSERT_NE(editor, nullptr);
    editor->selectAll();
    QTest::keyClicks(editor, QStringLiteral("install-image"));  // another step already has this name
    QTest::keyClick(editor, Qt::Key_Return);
    EXPECT_TRUE(DesktopKit::waitFor([tree] { return tree->findChild<QLineEdit*>() == nullptr; }));
    EXPECT_EQ(tree->topLevelItem(2)->text(0), QLatin1String("install-image-3"));
    EXPECT_TRUE(kit.window->page()->isModified());
    // A file that can't be read changes nothing.
    kit.dialogs.answers = {desktop::SaveAnswer::discard};
    EXPECT_TRUE(kit.window->openFile(kit.folder.write("no.json", "{")));
    EXPECT_EQ(kit.dialogs.faults.size(), 1);
    EXPECT_EQ(tree->topLevelItemCount(), 3);
}

}  // namespace
