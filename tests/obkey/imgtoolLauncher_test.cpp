#include "obkey/generateKeyPair.h"
#include "tests/obkey/TemplateRun.h"
#include "tests/support/outsideTool.h"
#include "tests/support/ownProcess.h"

#include <QDir>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

/// The launcher with imgtool-stand-in.sh as the first imgtool on the PATH.
struct LauncherRun {
    TempFolder folder;
    QByteArray path = qgetenv("PATH");
    obkey::Imgtool imgtool{QStringLiteral(IMGTOOL_LAUNCHER)};

    LauncherRun() {
        QFile::link(QStringLiteral(TEST_FILES "imgtool-stand-in.sh"), folder.path("imgtool"));
        qputenv("PATH", folder.path("").toUtf8() + ":" + path);
        qputenv("IMGTOOL_RECORD", folder.path("arguments").toUtf8());
        qputenv("IMGTOOL_STATUS", "0");
        qputenv("IMGTOOL_ANSWER", "");
    }
    ~LauncherRun() { qputenv("PATH", path); }
};

QStringList words(const QByteArray& text) {
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

}  // namespace

TEST(ImgtoolLauncher, SignDropsTheNoticeOfASuccess) {
    struct Row {
        const char *answer, *status, *output;
    };
    const Row rows[] = {
        {"", "0", ""},
        {"image.py: sign the payload\\n", "0", ""},
        {"image.py: sign the digest\\n", "0", ""},
        {"warning\\nimage.py: sign the payload\\n", "0", "warning\n"},
        {"image.py: sign the payload\\nError: x\\n", "2", "image.py: sign the payload\nError: x\n"},
    };
    for (const char* const command : {"sign", "create"}) {
        for (const Row& row : rows) {
            LauncherRun run;
            qputenv("IMGTOOL_ANSWER", row.answer);
            qputenv("IMGTOOL_STATUS", row.status);
            const obkey::ImgtoolAnswer answer = run.imgtool.run(words(QByteArray(command) + " -k key --pad a\\ b"));
            EXPECT_EQ(answer.output, row.output);
            EXPECT_EQ(answer.failed, QByteArray(row.status) != "0");
            EXPECT_EQ(run.folder.read("arguments"), QByteArray(command) + "\n-k\nkey\n--pad\na\\\nb\n");
        }
    }
}

// imgtool crashes, waits for an answer that never comes, or prints without end.
TEST(ImgtoolLauncher, FaultyProgramsEndAsFailures) {
    for (const char* const command : {"sign -k key", "getpub -k key"}) {
        for (const char* const fault : {"kill -9 $$", "read answer || exit 3", "exec yes", "exec yes >&2"}) {
            LauncherRun run;
            qputenv("IMGTOOL_FAULT", fault);
            const obkey::ImgtoolAnswer answer = run.imgtool.run(words(command));
            qunsetenv("IMGTOOL_FAULT");
            EXPECT_TRUE(answer.ended) << command << ' ' << fault;
            EXPECT_TRUE(answer.failed) << command << ' ' << fault;
            EXPECT_LT(answer.output.size(), 20 << 20);
        }
    }
}

TEST(ImgtoolLauncher, KeyPairAndRawKey) {
    LauncherRun run;
    const QString key = run.folder.write("root.pem", "old");
    MessageCapture capture;
    obkey::generateKeyPair(key, QStringLiteral("ecdsa-p256"), run.imgtool);
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Rename file is succeeded \n", "SUCCESS Key Generation \n"}));
    EXPECT_EQ(run.folder.read("arguments").replace(key.toUtf8(), "@"), "getpub\n-k\n@\n-e\npem\n");
    EXPECT_EQ(QFile::permissions(key) & QFile::Permissions(0x0077), QFile::Permissions());
    EXPECT_TRUE(run.folder.read("root_pub.pem").startsWith("-----BEGIN PUBLIC KEY-----\n"));
    const QStringList kept =
        QDir(run.folder.path("")).entryList({QStringLiteral("root.pem_??.??.????_??_??_??.bak")}, QDir::Files);
    ASSERT_EQ(kept.size(), 1);
    EXPECT_EQ(fileContent(run.folder.path(qUtf8Printable(kept.first()))), "old");

    // Two more keys, possibly in the same second. Each old key gets its own name.
    capture.clear();
    obkey::generateKeyPair(key, QStringLiteral("ecdsa-p256"), run.imgtool);
    obkey::generateKeyPair(key, QStringLiteral("ecdsa-p256"), run.imgtool);
    EXPECT_EQ(QDir(run.folder.path("")).entryList({QStringLiteral("root.pem_*.bak")}, QDir::Files).size(), 3);

    // Compares the private number with the DER form of the key, where it is at offset 7 (RFC 5915).
    const obkey::ImgtoolAnswer answer = run.imgtool.run(
        {QStringLiteral("getpriv"), QStringLiteral("--minimal"), QStringLiteral("--raw"), QStringLiteral("-k"), key});
    const QByteArray der = openssl(QStringLiteral("ec -outform DER -in ") + key);
    EXPECT_EQ(obkey::imgtoolArrayBytes(answer.output).toHex(), der.mid(7, 32).toHex());
    EXPECT_EQ(obkey::imgtoolArrayBytes(QByteArray(answer.output).replace("\n", "\r\n")),
              obkey::imgtoolArrayBytes(answer.output));

    capture.clear();
    qputenv("IMGTOOL_ANSWER", "Error: Invalid value");
    qputenv("IMGTOOL_STATUS", "2");
    obkey::generateKeyPair(run.folder.write("new.pem", "old"), QStringLiteral("nonsense"), run.imgtool);
    EXPECT_FALSE(QFile::exists(run.folder.path("new.pem"))) << "an older key in the place of the new one";
    const QStringList aside = QDir(run.folder.path("")).entryList({QStringLiteral("new.pem_*.bak")}, QDir::Files);
    ASSERT_EQ(aside.size(), 1);
    EXPECT_EQ(fileContent(run.folder.path(qUtf8Printable(aside.first()))), "old");
    EXPECT_EQ(capture.texts(),
              (std::vector<std::string>{"Rename file is succeeded \n", "Imgtool : Error: Invalid value",
                                        "Error: Fail Key Generation Check Input Param\n"}));
    capture.clear();
    obkey::Imgtool none(QStringLiteral("none"));
    obkey::generateKeyPair(run.folder.path("new2.pem"), QString(), none);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{"Error: Key Generation Failed \n"});
}

// If an old key can't be renamed, it is copied. If it can't be copied either, imgtool isn't started.
TEST(ImgtoolLauncher, AnOldKeyIsNeverLost) {
    struct Row {
        const char* name;
        mode_t keyMode, folderMode;
        bool isMounted;
        mode_t keptMode;  ///< 0: no copy is kept and no key is made
    };
    const Row rows[] = {
        {"moved with its mode", 0644, 0700, false, 0644},
        {"read-only folder", 0600, 0555, false, 0},
        {"mounted, for everybody", 0644, 0700, true, 0600},
        {"mounted, read-only", 0444, 0700, true, 0400},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        LauncherRun run;
        QDir(run.folder.path("")).mkdir(QStringLiteral("keys"));
        const QByteArray old(100000, 'o');
        const QByteArray key = run.folder.write("keys/root.pem", old).toUtf8();
        const QByteArray place = run.folder.path("keys").toUtf8();
        chmod(key.constData(), row.keyMode);
        chmod(place.constData(), row.folderMode);
        std::vector<std::string> messages = {"Rename file is succeeded \n", "SUCCESS Key Generation \n"};
        if (row.isMounted) {
            messages.erase(messages.begin());
        } else if (row.keptMode == 0) {
            messages = {"Error: Key Generation Failed \n"};
        }
        const int status = inOwnProcess([&] {
            if (row.isMounted) {
                ownMounts();
                if (mount(key.constData(), key.constData(), nullptr, MS_BIND, nullptr) != 0) {
                    _exit(childSkipped);
                }
            }
            if (row.keptMode == 0) {
                chmod(run.folder.path("").toUtf8().constData(), 0755);
                dropRoot();
            }
            const MessageCapture capture;
            obkey::generateKeyPair(QString::fromUtf8(key), QStringLiteral("ecdsa-p256"), run.imgtool);
            return capture.texts() == messages;
        });
        chmod(place.constData(), 0700);
        if (status == childSkipped) {
            continue;
        }
        EXPECT_EQ(status, 0);
        EXPECT_EQ(fileContent(QString::fromUtf8(key)) == old, row.keptMode == 0);
        const QFileInfoList kept = QDir(QString::fromUtf8(place)).entryInfoList({QStringLiteral("root.pem_*.bak")});
        ASSERT_EQ(kept.size(), row.keptMode == 0 ? 0 : 1);
        struct stat file {};
        if (row.keptMode != 0 && stat(qUtf8Printable(kept.first().filePath()), &file) == 0) {
            EXPECT_EQ(file.st_mode & 07777, row.keptMode);
            EXPECT_EQ(fileContent(kept.first().filePath()), old);
        }
    }
}

// An array with other output before, inside or after it isn't a key.
TEST(ImgtoolLauncher, OnlyAWholeArrayIsAKey) {
    QByteArray form =
        "/* Autogenerated by imgtool.py, do not edit. */\nconst unsigned char rsa_pub_key[] = {\n"
        "    0x00, 0x01, 0x7f, 0x80, 0xff, 0x0a, 0x10, 0xa0,\n    0x30,\n};\nconst unsigned int rsa_pub_key_len = 9;\n";
    const QByteArray bytes = QByteArray::fromHex("00017f80ff0a10a030");
    EXPECT_EQ(obkey::imgtoolArrayBytes(form), bytes);
    EXPECT_EQ(obkey::imgtoolArrayBytes(QByteArray(form).replace("\n", "\r\n")), bytes);
    for (qsizetype i = 0; i < form.size(); ++i) {
        EXPECT_TRUE(obkey::imgtoolArrayBytes(form.first(i)).isEmpty()) << i;
        EXPECT_TRUE(obkey::imgtoolArrayBytes(QByteArray(form).remove(i, 1)).isEmpty()) << i;
    }
    for (const char* const strange : {"x", "0", " ", "\n", "a.py:1: DeprecationWarning: old\n", "0x00, "}) {
        for (qsizetype i = 0; i <= form.size(); ++i) {
            EXPECT_TRUE(obkey::imgtoolArrayBytes(QByteArray(form).insert(i, strange)).isEmpty()) << strange << i;
        }
    }
    EXPECT_TRUE(obkey::imgtoolArrayBytes(form.replace("0x7f", "0x7F")).isEmpty());
    EXPECT_TRUE(
        obkey::imgtoolArrayBytes("/* Autogenerated by imgtool.py, do not edit. */\nconst unsigned char k[] = {\n};\n"
                                 "const unsigned int k_len = 0;\n")
            .isEmpty());
}

TEST(ImgtoolLauncher, AWarningBesideAKeyIsDropped) {
    for (const char* const command : {"getpub -k key", "getpriv --minimal -k key"}) {
        for (const bool fails : {false, true}) {
            LauncherRun run;
            qputenv("IMGTOOL_FAULT", fails ? "echo warning >&2; exit 3" : "echo warning >&2");
            const obkey::ImgtoolAnswer answer = run.imgtool.run(words(command));
            qunsetenv("IMGTOOL_FAULT");
            EXPECT_EQ(answer.failed, fails) << command;
            EXPECT_EQ(answer.output == "warning\n", fails) << command;
            EXPECT_EQ(obkey::imgtoolArrayBytes(answer.output).isEmpty(), fails) << command;
        }
    }
}

TEST(ImgtoolLauncher, ImgtoolDoesNotReceiveThePinOfTheCard) {
    LauncherRun run;
    qputenv("QVORA_HSM_PIN", "1234");
    qputenv("IMGTOOL_FAULT", "env; exit");
    const obkey::ImgtoolAnswer answer = run.imgtool.run(words("verify a"));
    qunsetenv("IMGTOOL_FAULT");
    EXPECT_TRUE(answer.output.contains("IMGTOOL_RECORD=") && !answer.output.contains("1234\n"));
    EXPECT_EQ(qgetenv("QVORA_HSM_PIN"), "1234");
    qunsetenv("QVORA_HSM_PIN");
}

TEST(ImgtoolLauncher, ReportsWhatIsMissing) {
    LauncherRun run;
    EXPECT_TRUE(run.imgtool.run(words("getpriv --minimal --raw -k nowhere.pem"))
                    .output.startsWith("Error: nowhere.pem can't be read"));
    QFile::remove(run.folder.path("imgtool"));
    const obkey::ImgtoolAnswer answer = run.imgtool.run(words("getpub -k a.pem"));
    EXPECT_TRUE(answer.failed);
    EXPECT_EQ(answer.output,
              "Error: there is no imgtool on the PATH. Install the MCUboot image tool, for example with: pip install "
              "imgtool\n");
    EXPECT_TRUE(obkey::imgtoolArrayBytes(answer.output).isEmpty());
}

TEST(ExtendedArgument, LongArgumentsBecomeExtendedLengthPaths) {
    TempFolder folder;
    QString argument = folder.path("") + QString(250, QLatin1Char('/')) + QStringLiteral("a");
    const QString doubled = QString(argument).replace(QLatin1Char('/'), QLatin1String("\\\\"));
    QString shorter = argument.left(254);
    obkey::extendedArgument(shorter);
    EXPECT_EQ(shorter, argument.left(254));
    obkey::extendedArgument(argument);
    EXPECT_EQ(argument, doubled);
}
