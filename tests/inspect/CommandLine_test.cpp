#include "tests/inspect/SealingKit.h"
#include "tests/support/TempFolder.h"

#include <QFile>
#include <QJsonDocument>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct CallResult {
    int status = -1;
    std::string output;
    std::string errors;
};

CallResult runInspect(const TempFolder& folder, const char* arguments, const QByteArray& input = {}) {
    QProcess process;
    process.setWorkingDirectory(folder.path("."));
    process.start(QStringLiteral(QVORA_INSPECT), QString::fromUtf8(arguments).split(u' ', Qt::SkipEmptyParts));
    process.write(input);
    process.closeWriteChannel();
    CallResult run;
    if (process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit) {
        run.status = process.exitCode();
    }
    run.output = process.readAllStandardOutput().toStdString();
    run.errors = process.readAllStandardError().trimmed().toStdString();
    return run;
}

void makeFiles(const TempFolder& folder) {
    folder.write("a.tbi", kitMake(kitInstallImage()));
    folder.write("cut.tbi", kitMake(kitInstallImage()).chopped(1));
    folder.write("key.bin", kitKey);
    folder.write("key15.bin", kitKey.first(15));
    folder.write("line.bin", kitKey + '\n');
    folder.write("other.bin", QByteArray(16, 'k'));
    folder.write("nonce.bin", KitImage().nonce);
    folder.write("noise", "no format");
    for (const char* name : {"key.bin", "other.bin"}) {
        EXPECT_TRUE(QFile::setPermissions(folder.path(name), QFile::ReadOwner | QFile::WriteOwner));
    }
}

TEST(InspectCommandLine, EndsAsItsRowSays) {
    const TempFolder folder;
    makeFiles(folder);
    struct Row {
        const char* arguments;
        int status;
        const char* errors;
        const char* lastLine;
    };
    const Row rows[] = {
        {"", 2, "a command is missing; --help lists them", ""},
        {"open a.tbi", 2, "unknown command open; --help lists them", ""},
        {"show", 2, "a file is missing", ""},
        {"show --key key.bin a.tbi", 2, "show takes no --key", ""},
        {"show --foo a.tbi", 2, "Unknown option 'foo'.", ""},
        {"verify --key key.bin --key key.bin a.tbi", 2, "--key can be given once only", ""},
        {"show --as nothing a.tbi", 2, "unknown format nothing; --help lists them", ""},
        {"show none.tbi", 2, "none.tbi: No such file or directory", ""},
        {"show .", 2, ".: file to open is a directory", ""},
        {"show noise", 2, "noise: no known format; --as names one", ""},
        {"show a.tbi", 0, "", "memory 0x08000100-0x08000110 firmware"},
        {"show --as installImage noise", 1, "", "error: at byte 9: cut off, 19 of 28 bytes are missing"},
        {"show cut.tbi", 1, "", "error: area 4 C at byte 252: cut off, 1 of 8 bytes are missing"},
        {"verify a.tbi", 2, "", "undecided: a.tbi, no key given"},
        {"verify --key key.bin --nonce nonce.bin a.tbi", 0, "", "proven by tag and digest: 253 bytes of a.tbi"},
        {"verify --key key.bin --nonce other.bin a.tbi", 1, "", "wrong: 1 of 8 checks of a.tbi are bad"},
        {"verify --key other.bin a.tbi", 1, "",
         "wrong: 4 of 6 checks of a.tbi are bad; no tag is right: another key or a changed file header"},
        {"verify --key key.bin cut.tbi a.tbi", 1, "", "proven by tag and digest: 253 bytes of a.tbi"},
        {"verify --key key.bin a.tbi none.tbi", 2, "none.tbi: No such file or directory",
         "proven by tag and digest: 253 bytes of a.tbi"},
        {"verify --key key15.bin a.tbi", 2, "key15.bin: a key has 16 bytes, not 15", ""},
        {"verify --key line.bin a.tbi", 2, "line.bin: a key has 16 bytes; there are more, the 17th a line feed", ""},
        {"verify --key - --nonce - a.tbi", 2, "standard input can be given once only", ""},
        {"verify --key - a.tbi", 0, "", "proven by tag and digest: 253 bytes of a.tbi"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.arguments);
        const CallResult run = runInspect(folder, row.arguments, kitKey);
        EXPECT_EQ(run.status, row.status);
        EXPECT_EQ(run.errors, *row.errors == '\0' ? "" : std::string("qvora-inspect: ") + row.errors);
        const std::string body = run.output.substr(0, run.output.empty() ? 0 : run.output.size() - 1);
        EXPECT_EQ(body.substr(body.rfind('\n') + 1), row.lastLine);
    }
}

TEST(InspectCommandLine, JsonIsOneDocumentWhateverHappens) {
    const TempFolder folder;
    makeFiles(folder);
    struct Row {
        const char* arguments;
        const char* part;
    };
    for (const Row& row :
         {Row{"--json verify --key key.bin a.tbi", "\"verdict\": \"proven\""},
          Row{"--json verify a.tbi", "\"reason\": \"noKey\""}, Row{"--json show none.tbi", "\"code\": \"unreadable\""},
          Row{"--json", "\"code\": \"usage\""}, Row{"--json --foo", "\"code\": \"usage\""}}) {
        const CallResult run = runInspect(folder, row.arguments);
        QJsonParseError error;
        EXPECT_TRUE(QJsonDocument::fromJson(QByteArray::fromStdString(run.output), &error).isObject())
            << row.arguments << error.errorString().toStdString();
        EXPECT_NE(run.output.find(row.part), std::string::npos) << run.output;
    }
}

TEST(InspectCommandLine, WarnsOfAKeyThatEverybodyMayRead) {
    const TempFolder folder;
    makeFiles(folder);
    ASSERT_TRUE(QFile::setPermissions(folder.path("key.bin"), QFile::ReadOwner | QFile::ReadOther));
    const CallResult run = runInspect(folder, "verify --key key.bin a.tbi");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "qvora-inspect: warning: key.bin: the key file may be read by everybody");
}

}  // namespace
