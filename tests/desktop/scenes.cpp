#include "tests/desktop/scenes.h"

#include "tests/desktop/inspectScenes.h"
#include "tests/desktop/jobForms.h"
#include "tests/desktop/productionFiles.h"
#include "tests/support/outsideTool.h"

#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QTest>
#include <QTreeWidget>

namespace {

void chooseEntry(DesktopKit& kit, const char* list, int entry) {
    kit.find(list)->setFocus();
    QTest::keyClick(kit.find(list), Qt::Key_Home);
    for (int i = 0; i < entry; ++i) {
        QTest::keyClick(kit.find(list), Qt::Key_Down);
    }
}

void makeCurvePair(DesktopKit& kit) {
    chooseEntry(kit, "task", 4);
    kit.type("private", kit.folder.path("signing.pem"));
    kit.press("make");
    (void)DesktopKit::waitFor([&] { return !kit.window->page()->isBusy(); });
}

void forgetTheKey(DesktopKit& kit) {
    chooseEntry(kit, "task", 3);
    kit.type("size", QStringLiteral("70000"));
    kit.press("make");
}

void openOptionBytes(DesktopKit& kit, const QString& path) {
    const auto* devices = kit.find<QComboBox>("device");
    (void)DesktopKit::waitFor([devices] { return devices->count() > 0; });
    (void)kit.window->openFile(path);
}

void editOptionBytes(DesktopKit& kit) {
    openOptionBytes(kit, QStringLiteral(QVORA_EXAMPLES "/firmware/option-bytes.csv"));
    QTest::keyClick(kit.find("words"), Qt::Key_Down);
    QTest::keyClick(kit.find("field.Chime"), Qt::Key_Space);
    kit.find("field.Pause")->setFocus();
    QTest::keyClick(kit.find("field.Pause"), Qt::Key_Down);
    QTest::keyClick(kit.find("field.Pause"), Qt::Key_Down);
}

void openStrangeOptionBytes(DesktopKit& kit) {
    openOptionBytes(kit, kit.folder.write("strange.csv", "START,0x30000210,EXTRA,0x00000012\nSEAL,0x00010004\n"));
    QTest::keyClick(kit.find("words"), Qt::Key_End);
    kit.type("field.Seal number", QStringLiteral("0x1FF"));
}

void openSecrets(DesktopKit& kit) {
    const auto* devices = kit.find<QComboBox>("device");
    (void)DesktopKit::waitFor([devices] { return devices->currentText().startsWith(QLatin1String("0x505")); });
    (void)kit.window->openFile(QStringLiteral(QVORA_EXAMPLES "/secrets/secrets.json"));
    kit.find("items")->setFocus();
    QTest::keyClick(kit.find("items"), Qt::Key_Down);
}

void collideSecrets(DesktopKit& kit) {
    openSecrets(kit);
    QTest::keyClick(kit.find("items"), Qt::Key_Home, Qt::ControlModifier);
    kit.press("remove");
    QTest::keyClick(kit.find("items"), Qt::Key_End, Qt::ControlModifier);
    kit.type("index", QStringLiteral("276"));
    kit.press("showData");
}

void loseSecretFiles(DesktopKit& kit) {
    openSecrets(kit);
    kit.type("content", kit.folder.path("lost.bin"));
    QTest::keyClick(kit.find("items"), Qt::Key_End, Qt::ControlModifier);
    kit.type("nonce", QString());
}

void makeSecrets(DesktopKit& kit) {
    openSecrets(kit);
    for (int row = 0; row < 6; ++row) {
        QTest::keyClick(kit.find("items"), Qt::Key_Down);
    }
    kit.dialogs.paths = {kit.folder.path("secrets.bin")};
    kit.press("makeImage");
    (void)DesktopKit::waitFor([&kit] { return !kit.window->page()->isBusy(); });
}

/// Opens a copy of the example template, with the key that it names.
void openTemplate(DesktopKit& kit) {
    const QString examples = QStringLiteral(QVORA_EXAMPLES);
    (void)QDir(kit.folder.path("")).mkpath(QStringLiteral("keys"));
    (void)QFile::copy(examples + QStringLiteral("/provisioning/oem-public.pem"),
                      kit.folder.path("keys/authentication_pub.pem"));
    const QString path = kit.folder.path("provisioning.xml");
    (void)QFile::copy(examples + QStringLiteral("/templates/provisioning.xml"), path);
    (void)kit.window->openFile(path);
}

void runTemplate(DesktopKit& kit) {
    openTemplate(kit);
    kit.type("parameter Firmware area size", QStringLiteral("0x80000"));
    kit.dialogs.confirmations = {true};
    kit.press("run");
    (void)DesktopKit::waitFor([&] { return !kit.window->page()->isBusy(); });
}

void spoilTemplate(DesktopKit& kit) {
    openTemplate(kit);
    kit.type("parameter Firmware area offset", QStringLiteral("0x100000000"));
    kit.type("parameter Authentication key", QStringLiteral("./keys/none.pem"));
    kit.press("run");
}

void misalignTemplate(DesktopKit& kit) {
    openTemplate(kit);
    kit.type("parameter Firmware area size", QStringLiteral("0x80001"));
}

void openImageTemplate(DesktopKit& kit) {
    (void)kit.window->openFile(QStringLiteral(QVORA_EXAMPLES "/templates/image.xml"));
}

void fillInstallImage(DesktopKit& kit) {
    if (!copyExamples(kit.folder)) {
        qFatal("the examples can't be copied");
    }
    fillIn(kit, jobForms().first());
}

void runInstallJob(DesktopKit& kit) {
    fillInstallImage(kit);
    kit.press("run");
    (void)DesktopKit::waitFor([&kit] { return !kit.window->page()->isBusy(); });
}

/// Runs the job with a shell script instead of the tool.
void runInstallScript(DesktopKit& kit, const QByteArray& script) {
    fillInstallImage(kit);
    kit.context.toolPath = kit.folder.write("QVORASealedBundleBuilder_CLI", "#!/bin/sh\n" + script);
    // With the folder on the PATH, the command line begins with the tool's name only.
    qputenv("PATH", kit.folder.path("").toUtf8() + ':' + qgetenv("PATH"));
    QFile::setPermissions(kit.context.toolPath, QFile::ReadOwner | QFile::ExeOwner);
    kit.press("run");
}

void failInstallJob(DesktopKit& kit) {
    runInstallScript(kit,
                     "printf '\\033[96mMaking the image\\033[0m\\n\\033[93mWarning: The output exists\\033[0m\\n"
                     "\\033[91mError: The output can'\"'\"'t be written: no space left\\033[0m\\n'; exit 1\n");
    (void)DesktopKit::waitFor([&kit] { return !kit.window->page()->isBusy(); });
}

void watchInstallJob(DesktopKit& kit) {
    runInstallScript(kit, "printf '\\033[96mMaking the image\\033[0m\\nArea 1 of 3\\n'; exec sleep 60\n");
    QTest::qWait(1500);
}

void misfillInstallImage(DesktopKit& kit) {
    fillInstallImage(kit);
    kit.folder.write("key.bin", QByteArray(15, 'k'));
    kit.type("version", QStringLiteral("300"));
    kit.type("out", QString());
    kit.press("run");
}

void fillExternalMemory(DesktopKit& kit) {
    fillInstallImage(kit);
    kit.type("external", QStringLiteral("app.bin"));
    kit.find("log")->setFocus(Qt::TabFocusReason);
}

#ifdef QVORA_PRODUCE
void findRunner() {
    qputenv("PATH", QFileInfo(QStringLiteral(QVORA_PRODUCE)).path().toUtf8() + ':' + qgetenv("PATH"));
}

void showLine(DesktopKit& kit) {
    findRunner();
    const QString path = kit.folder.path("line.db");
    const QString fault = makeSampleLedger(path);
    if (!fault.isEmpty()) {
        qFatal("%s", qUtf8Printable(fault));
    }
    (void)kit.window->openFile(path);
    (void)DesktopKit::waitFor(
        [&kit] { return kit.window->findChild<QWidget*>(QStringLiteral("counts"))->isVisible(); });
}

void loseLine(DesktopKit& kit) {
    findRunner();
    (void)kit.window->openFile(kit.folder.write("notes.db", "no ledger"));
    QTest::qWait(500);
}

/// Makes a token in software with keys, and lists it.
void listTokens(DesktopKit& kit) {
    const QString program = QFileInfo(QStringLiteral(QVORA_SIGN)).path();
    qputenv("PATH", program.toUtf8() + ':' + qgetenv("PATH"));
    const QByteArray driver = "/usr/lib/softhsm/libsofthsm2.so";
    qputenv("SOFTHSM2_CONF",
            kit.folder.write("softhsm2.conf", "directories.tokendir = " + kit.folder.path("").toUtf8()).toUtf8());
    qputenv("QVORA_HSM_MODULE", driver);
    for (const char* const token : {"line", "spare"}) {
        outsideTool(QByteArray("softhsm2-util --init-token --free --pin 1234 --so-pin 5678 --label ") + token);
    }
    for (const char* const key : {"EC:prime256v1 --label firmware --id 01", "rsa:2048 --label radio --id 02"}) {
        outsideTool("pkcs11-tool --module " + driver +
                    " --token-label line --login --pin 1234 --keypairgen --key-type " + key);
    }
    kit.press("list");
    auto* tree = kit.find<QTreeWidget>("tokens");
    (void)DesktopKit::waitFor([tree] { return tree->topLevelItemCount() > 0; });
    const QList<QTreeWidgetItem*> rows =
        tree->findItems(QStringLiteral("firmware"), Qt::MatchExactly | Qt::MatchRecursive);
    tree->setCurrentItem(rows.value(0));
}

void draftJob(DesktopKit& kit) {
    (void)kit.window->openFile(saveInstallJob(kit));
    kit.type("product", QStringLiteral("meter-a"));
}
#endif

}  // namespace

const QList<Scene>& scenes() {
    static const QList<Scene> rows = {
        {"install-image", "done", runInstallJob},
        {"install-image", "failed", failInstallJob},
        {"install-image", "running", watchInstallJob},
        {"install-image", "filled", fillInstallImage},
        {"install-image", "faulty", misfillInstallImage},
        {"install-image", "external", fillExternalMemory},
        {"template", "done", runTemplate},
        {"template", "faulty", spoilTemplate},
        {"template", "misaligned", misalignTemplate},
        {"template", "image", openImageTemplate},
        {"keys", "made", makeCurvePair},
        {"inspect", "shown", showImage},
        {"inspect", "proven", proveImage},
        {"inspect", "contents", showContents},
        {"inspect", "wrong", proveWrongImage},
        {"inspect", "keys", giveKeys},
        {"inspect", "compared", compareImages},
        {"inspect", "large", showLargeImage},
        {"keys", "faulty", forgetTheKey},
        {"option-bytes", "edited", editOptionBytes},
        {"option-bytes", "strange", openStrangeOptionBytes},
        {"secrets", "opened", openSecrets},
        {"secrets", "collision", collideSecrets},
        {"secrets", "lost", loseSecretFiles},
        {"secrets", "made", makeSecrets},
#ifdef QVORA_PRODUCE
        {"tokens", "listed", listTokens},
        {"production", "line", showLine},
        {"production", "lost", loseLine},
        {"production", "job", draftJob},
#endif
    };
    return rows;
}

void play(const Scene& scene, DesktopKit& kit) {
    QDir::setCurrent(kit.folder.path(""));
    kit.show(scene.page);
    scene.fill(kit);
}
