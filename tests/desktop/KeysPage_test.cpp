#include "desktop/keys/keyTasks.h"

#include "Preparation/src/ec_crypto.h"
#include "tests/desktop/DesktopKit.h"
#include "tests/support/outsideTool.h"

#include <QComboBox>
#include <QCryptographicHash>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QTest>

#include <sys/stat.h>

#include <chrono>
#include <thread>

namespace {

constexpr auto ownerOnly =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser;

/// Chooses the entry of the list of tasks that begins with `entry`.
void choose(DesktopKit& kit, const char* entry) {
    auto* list = kit.find<QComboBox>("task");
    list->setFocus(Qt::TabFocusReason);
    QTest::keyClick(list, Qt::Key_Home);
    for (int i = 0; i < list->count() && !list->currentText().startsWith(QLatin1String(entry)); ++i) {
        QTest::keyClick(list, Qt::Key_Down);
    }
    ASSERT_TRUE(list->currentText().startsWith(QLatin1String(entry))) << entry;
}

/// Presses the button "make" and returns the result that the page shows.
std::string make(DesktopKit& kit) {
    kit.press("make");
    EXPECT_TRUE(DesktopKit::waitFor([&] { return !kit.window->page()->isBusy(); }, 120));
    return kit.find<QLabel>("result")->text().toStdString();
}

std::string sha256(const QByteArray& bytes) {
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex().toStdString();
}

std::string textOf(DesktopKit& kit, const char* line) {
    return kit.find<QLineEdit>(line)->text().toStdString();
}

/// The output of `openssl pkey` for a key. The path may contain blanks.
QByteArray opensslKey(const QString& path, std::initializer_list<const char*> options) {
    QStringList arguments{QStringLiteral("pkey"), QStringLiteral("-in"), path};
    for (const char* option : options) {
        arguments.append(QLatin1String(option));
    }
    return outsideTool(QStringLiteral("openssl"), arguments);
}

TEST(KeysPage, MakesRandomFilesAndKeepsExistingOnes) {
    DesktopKit kit;
    kit.show("keys");
    kit.press("make");
    EXPECT_EQ(QApplication::focusWidget(), kit.find("file")) << "the first field that is missing";

    QByteArrayList contents;
    const struct {
        const char* entry;
        const char* bytes;  ///< the size to type; null if the entry determines it
        qsizetype size;
    } rows[] = {{"Key", nullptr, 16}, {"Nonce: 12", nullptr, 12}, {"Nonce: 16", nullptr, 16}, {"Random", "48", 48}};
    for (const auto& row : rows) {
        choose(kit, row.entry);
        if (row.bytes != nullptr) {
            kit.type("size", QStringLiteral("0"));
            kit.press("make");
            EXPECT_EQ(QApplication::focusWidget(), kit.find("size")) << "no file of 0 bytes";
            kit.type("size", QLatin1String(row.bytes));
        }
        const QString path = kit.folder.path(row.entry);
        kit.type("file", path);
        EXPECT_NE(make(kit).find(row.entry), std::string::npos);
        contents.append(fileContent(path));
        EXPECT_EQ(contents.last().size(), row.size) << row.entry;
        EXPECT_EQ(QFileInfo(path).permissions(), QFile::Permissions(ownerOnly)) << row.entry;
    }
    EXPECT_NE(contents[0], contents[2]);

    const QString last = kit.folder.path("Random");
    kit.press("make");
    EXPECT_TRUE(kit.dialogs.asked.value(0).contains(last)) << "without an answer it is cancelled";
    EXPECT_EQ(fileContent(last), contents.last());
    kit.dialogs.confirmations = {true};
    (void)make(kit);
    EXPECT_NE(fileContent(last), contents.last());

    const QString pipe = kit.folder.path("pipe");
    ASSERT_EQ(mkfifo(qUtf8Printable(pipe), 0600), 0);
    kit.type("file", pipe);
    kit.dialogs.confirmations = {true};
    EXPECT_NE(make(kit).find("pipe” is no plain file."), std::string::npos) << "it has no reader";
}

TEST(KeysPage, MakesPairsThatOpensslAccepts) {
    DesktopKit kit;
    kit.show("keys");
    const struct {
        const char* entry;
        int curve;  ///< index in the list of curves
        const char* inKey;
        bool hasPoint;
    } rows[] = {
        {"Elliptic", 0, "prime256v1", true}, {"Elliptic", 1, "brainpoolP256t1", true}, {"RSA", 0, "4096", false}};
    for (const auto& row : rows) {
        choose(kit, row.entry);
        if (row.curve != 0) {
            kit.find("curve")->setFocus();
            QTest::keyClick(kit.find("curve"), Qt::Key_Down);
        }
        const QString path = kit.folder.path(row.inKey) + QStringLiteral(".pem");
        const QString publicPath = kit.folder.path(row.inKey) + QStringLiteral("_pub.pem");
        kit.type("public", QString());
        kit.type("private", path);
        EXPECT_EQ(textOf(kit, "public"), publicPath.toStdString()) << "proposed";
        EXPECT_NE(make(kit).find("Made"), std::string::npos);
        EXPECT_TRUE(opensslKey(path, {"-noout", "-check", "-text"}).contains(row.inKey));
        EXPECT_EQ(opensslKey(path, {"-pubout"}), fileContent(publicPath));
        EXPECT_EQ(QFileInfo(path).permissions(), QFile::Permissions(ownerOnly));

        const QByteArray der = opensslKey(publicPath, {"-pubin", "-outform", "DER"});
        const std::string keyHash = sha256(der);
        EXPECT_EQ(textOf(kit, "keyHash"), keyHash);
        if (row.hasPoint) {
            EXPECT_EQ(textOf(kit, "pointHash"), sha256(der.right(64)));
        }
        choose(kit, "Hash");
        for (const QString& source : {path, publicPath}) {
            kit.type("pem", source);
            (void)make(kit);
            EXPECT_EQ(textOf(kit, "keyHash"), keyHash);
        }
    }
    choose(kit, "RSA");
    kit.type("public", kit.folder.path("stopped_pub.pem"));
    kit.type("private", kit.folder.path("stopped.pem"));
    kit.press("make");
    EXPECT_EQ(make(kit), "Stopped. Nothing was written.") << "the button stops what it started";
    EXPECT_FALSE(QFileInfo::exists(kit.folder.path("stopped.pem")));

    choose(kit, "Hash");
    kit.type("pem", kit.folder.write("no-key.pem", "-----BEGIN PUBLIC KEY-----\nAAAA\n-----END PUBLIC KEY-----\n"));
    EXPECT_NE(make(kit).find("no PEM key"), std::string::npos);
}

TEST(KeyTasks, ReplaceOnlyFilesThatTheUserConfirms) {
    const TempFolder folder;
    const QString path = folder.path("key.pem");
    const QString other = folder.path("key_pub.pem");
    const std::string stranger = "A file has appeared at one of the paths; it was left alone.";
    const auto fault = [](const desktop::KeyRequest& request) {
        return desktop::runKeyTask(request, std::atomic<bool>(false)).fault.toStdString();
    };
    const desktop::KeyRequest random{desktop::KeyTask::randomFile, path, QString(), 16, 0, {}};
    desktop::KeyRequest pair{desktop::KeyTask::curvePair, path, other, 0, prime256v1Nid, {}};
    ASSERT_TRUE(QFile::link(folder.path("nowhere"), path));
    EXPECT_EQ(fault(random), stranger) << "a link that leads nowhere is a file too";
    EXPECT_FALSE(QFile::exists(folder.path("nowhere")));
    QFile::remove(path);
    folder.write("key_pub.pem", "older");
    EXPECT_EQ(fault(pair), stranger);
    EXPECT_FALSE(QFile::exists(path));
    pair.replaced = {other, path};
    EXPECT_EQ(fault(pair), "");
    pair.publicPath = folder.path("./key.pem");
    pair.replaced.append(pair.publicPath);
    EXPECT_EQ(fault(pair), "The private and the public key need two files.");

    // Another program may create the file while the key is made: an RSA pair needs seconds.
    desktop::KeyRequest slow{desktop::KeyTask::rsaPair, folder.path("rsa.pem"), folder.path("rsa_pub.pem"), 0, 0, {}};
    std::string said;
    std::thread worker([&] { said = fault(slow); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    folder.write("rsa.pem", "newer");
    worker.join();
    EXPECT_EQ(said, stranger);
    EXPECT_EQ(folder.read("rsa.pem"), "newer");
}

// OpenSSL's key readers leave copies of the user's keys in memory, and so do the readers of files. The tasks must wipe
// all of them.
TEST(KeyTasks, LeaveNoKeyInMemory) {
    const TempFolder folder;
    const char* const makeKeys =
        "openssl genrsa -traditional -out rsa.pem 2048 2>/dev/null && "
        "openssl rsa -traditional -in rsa.pem -outform DER 2>/dev/null >rsa.der && "
        "openssl ecparam -name prime256v1 -genkey -noout -out ec.pem";
    QProcess shell;
    shell.setWorkingDirectory(folder.path(""));
    shell.start(QStringLiteral("sh"), {QStringLiteral("-ec"), QLatin1String(makeKeys)});
    ASSERT_TRUE(shell.waitForFinished() && shell.exitCode() == 0) << shell.readAllStandardError().constData();
    const struct {
        const char* secrets;  ///< lines of private PEM files, and the exponent d from the DER form of an RSA key
        const char* arguments;
    } rows[] = {
        {"random.bin", "random random.bin"},
        {"rsa.pem@610 rsa.der@300", "hash rsa.pem"},
        {"ec.pem@31", "hash ec.pem"},
        {"pair.pem@93", "curve pair.pem pair_pub.pem"},
    };
    for (const auto& row : rows) {
        QProcess run;
        run.setWorkingDirectory(folder.path(""));
        run.setProcessChannelMode(QProcess::MergedChannels);
        run.start(QStringLiteral(KEY_TASK_TRACES), QString::fromLatin1(row.secrets).split(u' ')
                                                       << QStringLiteral("--")
                                                       << QString::fromLatin1(row.arguments).split(u' '));
        ASSERT_TRUE(run.waitForFinished(120000));
        EXPECT_EQ(run.exitCode(), 0) << row.arguments << '\n' << run.readAll().constData();
    }
}

}  // namespace
