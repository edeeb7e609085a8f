#include "ledger/SqliteFile.h"

#include "tests/ledger/LedgerTest.h"
#include "tests/support/outsideTool.h"
#include "tests/support/ownProcess.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <functional>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

using ledger::Fault;
using ledger::Ledger;

namespace {

void sqlite(const QString& path, const char* statements) {
    outsideTool(QStringLiteral("sqlite3"), {QStringLiteral("-bail"), path, QString::fromUtf8(statements)});
}

// A ledger with a few rows, closed, so that all of it is in one file.
QByteArray filledLedger(const TempFolder& folder) {
    const QString path = folder.path("good");
    Fault fault;
    EXPECT_TRUE(Ledger::create(path, fault)) << text(fault);
    {
        Ledger station;
        EXPECT_TRUE(station.open(path, Ledger::Access::station, QStringLiteral("one"), fault)) << text(fault);
        ledger::RecordRow line;
        for (int i = 0; i < 40; ++i) {
            const ledger::ClaimResult result = claimOne(station, request(QByteArray::number(i).constData(), {i}));
            line = lineAfter(line);
            const ledger::Outcome outcome{result.attempt, ledger::Outcome::Kind::proven, {}, {}};
            bool isFinal = false;
            EXPECT_TRUE(station.finish({&outcome, 1}, {&line, 1}, {&isFinal, 1}, fault)) << text(fault);
        }
    }
    EXPECT_FALSE(QFile::exists(path + QStringLiteral("-wal")));
    return folder.read("good");
}

TEST(SqliteFile, RefusesOtherFilesAndLeavesThemUntouched) {
    const TempFolder folder;
    const QByteArray good = filledLedger(folder);
    sqlite(folder.path("other-id"), "PRAGMA application_id = 77; CREATE TABLE claim (x)");
    sqlite(folder.path("no-id"), "CREATE TABLE claim (x)");
    QFile::copy(folder.path("good"), folder.path("extra"));
    sqlite(folder.path("extra"), "CREATE TRIGGER t AFTER INSERT ON claim BEGIN SELECT 1; END");
    QFile::copy(folder.path("good"), folder.path("fewer"));
    sqlite(folder.path("fewer"), "DROP TRIGGER iv_no_delete");
    QFile::copy(folder.path("good"), folder.path("version-0"));
    sqlite(folder.path("version-0"), "PRAGMA user_version = 0");
    QFile::copy(folder.path("good"), folder.path("version-999"));
    sqlite(folder.path("version-999"), "PRAGMA user_version = 999");
    folder.write("text", "serial,secrets\n1,2\n");
    folder.write("empty", "");
    folder.write("header", good.first(100));
    folder.write("page", good.first(4096));
    folder.write("cut", good.first(good.size() - 4096));
    folder.write("short", good.first(99));
    ASSERT_TRUE(QDir().mkdir(folder.path("folder")));
    ASSERT_EQ(mkfifo(QFile::encodeName(folder.path("fifo")).constData(), 0600), 0);
    struct Case {
        const char* name;
        const char* fault;  // %1 is the path
    };
    const Case cases[] = {
        {"missing", "failed: there is no ledger %1"},
        {"other-id", "refused: %1 is an SQLite file of another application (0x4d), not a ledger"},
        {"no-id", "refused: %1 is an SQLite file of another application (0x0), not a ledger"},
        {"extra", "refused: %1 doesn't have the tables and rules of a ledger"},
        {"fewer", "refused: %1 doesn't have the tables and rules of a ledger"},
        {"version-0", "refused: %1 has no schema version, so it isn't a ledger"},
        {"version-999", "refused: %1 has the schema version 999; this program knows versions up to 1"},
        {"text", "refused: %1 isn't an SQLite file, so it isn't a ledger"},
        {"empty", "refused: %1 is empty, so it isn't a ledger"},
        {"header", "refused: %1 is damaged (database disk image is malformed); restore it from a backup"},
        {"page", "refused: %1 is damaged (database disk image is malformed); restore it from a backup"},
        {"cut", "refused: %1 is damaged (database disk image is malformed); restore it from a backup"},
        {"short", "refused: %1 isn't an SQLite file, so it isn't a ledger"},
        {"folder", "refused: %1 isn't a regular file, so it isn't a ledger"},
        {"fifo", "refused: %1 isn't a regular file, so it isn't a ledger"},
    };
    for (const Case& row : cases) {
        for (const Ledger::Access access : {Ledger::Access::readOnly, Ledger::Access::station}) {
            const QString path = folder.path(row.name);
            const QByteArray before = row.name == QByteArray("fifo") ? QByteArray() : fileContent(path);
            Ledger opened;
            Fault fault;
            EXPECT_FALSE(opened.open(path, access, QStringLiteral("one"), fault)) << row.name;
            EXPECT_EQ(text(fault), QString::fromUtf8(row.fault).arg(path).toStdString());
            if (row.name != QByteArray("fifo")) {
                EXPECT_EQ(fileContent(path), before) << row.name;
            }
        }
    }
    // No file was made beside a refused file.
    for (const char* const name : {"other-id", "no-id", "version-999", "text", "empty", "short"}) {
        for (const char* const end : {"-wal", "-shm", "-lock", "-journal"}) {
            EXPECT_FALSE(QFile::exists(folder.path(name) + QLatin1String(end))) << name << end;
        }
    }
}

enum class Flipped { refused, found, unnoticed };

Flipped judgeFlipped(const TempFolder& folder, QByteArray bytes, qsizetype at) {
    bytes[at] = static_cast<char>(bytes.at(at) ^ 0x11);
    const QString path = folder.write("flipped", bytes);
    Ledger opened;
    Fault fault;
    QStringList findings;
    ledger::Summary summary;
    if (!opened.open(path, Ledger::Access::readOnly, {}, fault)) {
        EXPECT_EQ(fileContent(path), bytes) << at;
        return Flipped::refused;
    }
    Fault other;
    (void)opened.summary(summary, other);
    return !opened.check(findings, fault) || !findings.isEmpty() ? Flipped::found : Flipped::unnoticed;
}

TEST(SqliteFile, SurvivesFlippedBytes) {
    const TempFolder folder;
    const QByteArray good = filledLedger(folder);
    // Damages each byte of the header. Some of its numbers don't affect the content.
    int refused = 0;
    for (qsizetype at = 0; at < 100; ++at) {
        refused += judgeFlipped(folder, good, at) == Flipped::refused ? 1 : 0;
    }
    EXPECT_GT(refused, 30);
    // Damages some bytes of each page.
    int noticed = 0;
    for (qsizetype at = 100; at < good.size(); at += 797) {
        noticed += judgeFlipped(folder, good, at) != Flipped::unnoticed ? 1 : 0;
    }
    EXPECT_GT(noticed, 10);
    // Damages each byte of a line of the record, and the bytes of the row before it, which contain the hash.
    const qsizetype line = good.indexOf(R"("number":7,)");
    ASSERT_GT(line, 0);
    for (qsizetype at = line - 50; at < line + 90; ++at) {
        EXPECT_NE(judgeFlipped(folder, good, at), Flipped::unnoticed) << at - line;
    }
}

TEST(SqliteFile, NoRightToReadOrWrite) {
    const TempFolder folder;
    (void)filledLedger(folder);
    ASSERT_EQ(chmod(QFile::encodeName(folder.path(".")).constData(), 0755), 0);
    const QByteArray path = QFile::encodeName(folder.path("good"));
    const QString name = folder.path("good");
    ASSERT_EQ(chmod(path.constData(), 0600), 0);
    const auto opens = [&name](Ledger::Access access, const QString& expected) {
        dropRoot();
        Ledger opened;
        Fault fault;
        const bool isOpen = opened.open(name, access, QStringLiteral("one"), fault);
        return !isOpen && fault.kind == Fault::Kind::failed && fault.text == expected;
    };
    EXPECT_EQ(inOwnProcess([&] {
                  return opens(Ledger::Access::readOnly,
                               QStringLiteral("cannot open the ledger %1: Permission denied").arg(name));
              }),
              geteuid() == 0 ? 0 : 1);
    ASSERT_EQ(chmod(path.constData(), 0444), 0);
    EXPECT_EQ(inOwnProcess([&] {
                  return opens(Ledger::Access::station,
                               QStringLiteral("cannot open %1-lock: Permission denied").arg(name));
              }),
              geteuid() == 0 ? 0 : 1);
}

TEST(SqliteFile, AFullDiskCommitsNothingByHalf) {
    const TempFolder folder;
    (void)filledLedger(folder);
    const QString path = folder.path("good");
    const int status = inOwnProcess([&path] {
        signal(SIGXFSZ, SIG_IGN);
        Ledger station;
        Fault fault;
        if (!station.open(path, Ledger::Access::station, QStringLiteral("one"), fault)) {
            return false;
        }
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlim_t old = limit.rlim_cur;
        limit.rlim_cur = 256 * 1024;
        setrlimit(RLIMIT_FSIZE, &limit);
        // Each claim has two IVs. The log grows until it reaches the limit.
        int claimed = 0;
        bool isFull = false;
        for (int i = 0; i < 2000 && !isFull; ++i) {
            const ledger::ClaimRequest wanted =
                request(("full" + QByteArray::number(i)).constData(), {1000 + i, 4000 + i});
            ledger::ClaimResult result;
            isFull = !station.claim({&wanted, 1}, {&result, 1}, fault);
            claimed += !isFull && result.kind == ledger::ClaimResult::Kind::claimed ? 1 : 0;
        }
        limit.rlim_cur = old;
        setrlimit(RLIMIT_FSIZE, &limit);
        QList<ledger::Attempt> attempts;
        QStringList findings;
        Fault later;
        const ledger::ClaimRequest wanted =
            request(("full" + QByteArray::number(claimed)).constData(), {1000 + claimed, 4000 + claimed});
        ledger::ClaimResult result;
        return isFull && claimed > 0 && fault.kind == Fault::Kind::failed && station.openClaims(attempts, later) &&
               attempts.size() == claimed && station.check(findings, later) && findings.isEmpty() &&
               station.claim({&wanted, 1}, {&result, 1}, later) && result.kind == ledger::ClaimResult::Kind::claimed &&
               result.attempt.number == 1;
    });
    EXPECT_EQ(status, 0);
}

TEST(SqliteFile, AKilledProcessLeavesWholeCommits) {
    const TempFolder folder;
    const QString path = folder.path("line");
    Fault fault;
    ASSERT_TRUE(Ledger::create(path, fault)) << text(fault);
    int finished = 0;
    for (int round = 0; round < 5; ++round) {
        int pipes[2];
        ASSERT_EQ(pipe(pipes), 0);
        const pid_t child = fork();
        if (child == 0) {
            Ledger station;
            Fault problem;
            if (!station.open(path, Ledger::Access::station, QStringLiteral("one"), problem)) {
                _exit(1);
            }
            for (int i = 0;; ++i) {
                const ledger::ClaimRequest wanted =
                    request(QByteArray::number(round * 100000 + i).constData(), {round * 100000 + i});
                ledger::ClaimResult result;
                if (!station.claim({&wanted, 1}, {&result, 1}, problem) || write(pipes[1], "c", 1) != 1) {
                    _exit(1);
                }
            }
        }
        close(pipes[1]);
        usleep(static_cast<useconds_t>(60000 + 7000 * round));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        char byte = 0;
        while (read(pipes[0], &byte, 1) == 1) {
            ++finished;
        }
        close(pipes[0]);
        Ledger station;
        ASSERT_TRUE(station.open(path, Ledger::Access::station, QStringLiteral("one"), fault)) << text(fault);
        EXPECT_EQ(findings(station), "");
        QList<ledger::Attempt> attempts;
        ASSERT_TRUE(station.openClaims(attempts, fault)) << text(fault);
        // Each reported commit is there. Each round may have made one more commit without reporting it.
        EXPECT_GE(attempts.size(), finished);
        EXPECT_LE(attempts.size(), finished + round + 1);
    }
    EXPECT_GT(finished, 5);
}

TEST(SqliteFile, AChildThatLivesOnDoesNotKeepTheStation) {
    const TempFolder folder;
    (void)filledLedger(folder);
    const QString path = folder.path("good");
    auto first = std::make_unique<Ledger>();
    Fault fault;
    ASSERT_TRUE(first->open(path, Ledger::Access::station, QStringLiteral("one"), fault));
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    first.reset();
    Ledger second;
    EXPECT_TRUE(second.open(path, Ledger::Access::station, QStringLiteral("one"), fault)) << text(fault);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

// POSIX drops the locks of a process on a file when it closes any descriptor of it. The exclusive lock that a second
// process needs to close the last connection of a WAL file shows whether the first one's lock is still there.
TEST(SqliteFile, AnotherOpeningKeepsTheLocksOfSqlite) {
    const TempFolder folder;
    (void)filledLedger(folder);
    const QString path = folder.path("good");
    Ledger station;
    Fault fault;
    ASSERT_TRUE(station.open(path, Ledger::Access::station, QStringLiteral("one"), fault));
    EXPECT_STREQ(name(claimOne(station, request("A")).kind), "claimed");
    {
        Ledger reader;
        ASSERT_TRUE(reader.open(path, Ledger::Access::readOnly, {}, fault)) << text(fault);
    }
    {
        Ledger refused;
        EXPECT_FALSE(refused.open(path, Ledger::Access::station, QStringLiteral("one"), fault));
    }
    // The other process reads, and would remove the log on closing if it were alone.
    sqlite(path, "SELECT count(*) FROM claim");
    EXPECT_TRUE(QFile::exists(path + QStringLiteral("-wal")));
    EXPECT_STREQ(name(claimOne(station, request("B")).kind), "claimed");
    EXPECT_EQ(findings(station), "");
}

TEST(SqliteFile, AnObjectIsOpenedOnceAndUsedOnlyThen) {
    const TempFolder folder;
    (void)filledLedger(folder);
    Ledger station;
    Fault fault;
    ledger::Lease lease;
    ledger::Head head;
    ledger::Attempt attempt;
    ledger::Summary summary;
    bool isReplaced = false;
    QStringList findings;
    QList<ledger::Attempt> attempts;
    QList<ledger::RecordRow> lines;
    qint64 added = 0;
    const std::array<std::function<bool()>, 15> calls = {
        [&] { return station.lease(1, lease, fault); },
        [&] { return station.claim({}, {}, fault); },
        [&] { return station.finish({}, {}, {}, fault); },
        [&] { return station.openClaims(attempts, fault); },
        [&] { return station.lastAttempt(QStringLiteral("a"), QStringLiteral("b"), attempt, fault); },
        [&] { return station.recall(QStringLiteral("a"), QStringLiteral("b"), {}, {}, attempt, fault); },
        [&] { return station.head(head, fault); },
        [&] { return station.recordAfter(0, 1, lines, fault); },
        [&] { return station.addKey(fingerprint(0), QStringLiteral("a"), {}, fault); },
        [&] { return station.retireKey(fingerprint(0), {}, fault); },
        [&] { return station.newEpoch("epoch-2.", "epoch-1.", {}, fault); },
        [&] { return station.isReplaced("epoch-1.", isReplaced, fault); },
        [&] { return station.importIvs({}, QStringLiteral("a"), {}, added, fault); },
        [&] { return station.check(findings, fault); },
        [&] { return station.summary(summary, fault); },
    };
    for (const auto& call : calls) {
        fault = {};
        EXPECT_FALSE(call());
        EXPECT_EQ(text(fault), "failed: the ledger isn't open");
    }
    ASSERT_TRUE(station.open(folder.path("good"), Ledger::Access::station, QStringLiteral("one"), fault))
        << text(fault);
    EXPECT_FALSE(station.open(folder.path("good"), Ledger::Access::station, QStringLiteral("two"), fault));
    EXPECT_EQ(text(fault), "failed: the ledger is open already");
}

TEST(SqliteFile, ASymbolicLinkLocksTheSameStation) {
    const TempFolder folder;
    (void)filledLedger(folder);
    ASSERT_TRUE(QDir().mkdir(folder.path("other")));
    ASSERT_TRUE(QFile::link(folder.path("good"), folder.path("other/link")));
    Ledger first;
    Ledger second;
    Fault fault;
    ASSERT_TRUE(first.open(folder.path("good"), Ledger::Access::station, QStringLiteral("one"), fault)) << text(fault);
    EXPECT_FALSE(second.open(folder.path("other/link"), Ledger::Access::station, QStringLiteral("one"), fault));
    EXPECT_EQ(text(fault), "refused: the station one is in use by another process");
}

TEST(SqliteFile, NoticesThatItWasReplaced) {
    const TempFolder folder;
    (void)filledLedger(folder);
    const QString path = folder.path("good");
    Ledger station;
    Fault fault;
    ASSERT_TRUE(station.open(path, Ledger::Access::station, QStringLiteral("one"), fault));
    ASSERT_TRUE(QFile::rename(path, folder.path("moved")));
    ASSERT_TRUE(QFile::copy(folder.path("moved"), path));
    const ledger::ClaimRequest wanted = request("A");
    ledger::ClaimResult result;
    EXPECT_FALSE(station.claim({&wanted, 1}, {&result, 1}, fault));
    EXPECT_EQ(text(fault), "refused: " + path.toStdString() + " was moved or replaced while it was open");
}

TEST(SqliteFile, ALockedFileIsUnreachable) {
    const TempFolder folder;
    (void)filledLedger(folder);
    const QString path = folder.path("good");
    Ledger station;
    Fault fault;
    ASSERT_TRUE(station.open(path, Ledger::Access::station, QStringLiteral("one"), fault));
    QProcess other;
    other.start(QStringLiteral("sqlite3"), {path});
    other.write("BEGIN IMMEDIATE;\nSELECT 'locked';\n");
    ASSERT_TRUE(other.waitForReadyRead(10000)) << "sqlite3 is not installed";
    const ledger::ClaimRequest wanted = request("A");
    ledger::ClaimResult result;
    EXPECT_FALSE(station.claim({&wanted, 1}, {&result, 1}, fault));
    EXPECT_EQ(text(fault), "unreachable: " + path.toStdString() + " is locked by another process");
    other.closeWriteChannel();
    ASSERT_TRUE(other.waitForFinished(10000));
    EXPECT_STREQ(name(claimOne(station, wanted).kind), "claimed");
}

TEST(SqliteFile, KnowsNetworkFileSystems) {
    struct Case {
        std::uint64_t type;
        const char* mountType;
        const char* name;
    };
    const Case cases[] = {{0x6969, "", "NFS"},
                          {0xFF534D42, "", "CIFS"},
                          {0xFE534D42, "", "SMB"},
                          {0x01021997, "", "9P"},
                          {0x65735546, "fuse.sshfs", "fuse.sshfs"},
                          {0x65735546, "", "FUSE"},
                          {0x65735546, "fuseblk", ""},
                          {0xEF53, "", ""},       // ext4
                          {0x01021994, "", ""},   // tmpfs
                          {0x58465342, "", ""}};  // XFS
    for (const Case& row : cases) {
        EXPECT_EQ(ledger::networkFileSystem(row.type, QString::fromLatin1(row.mountType)).toStdString(), row.name)
            << row.type;
    }
    Fault fault;
    EXPECT_TRUE(ledger::checkFileSystem(QStringLiteral("/"), fault)) << text(fault);
    EXPECT_FALSE(ledger::checkFileSystem(QStringLiteral("/does-not-exist"), fault));
    EXPECT_EQ(text(fault), "failed: cannot read the file system of /does-not-exist: No such file or directory");
}

TEST(SqliteFile, AFailedCreationLeavesNothing) {
    const TempFolder folder;
    const int status = inOwnProcess([&folder] {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        limit.rlim_cur = 8192;
        setrlimit(RLIMIT_FSIZE, &limit);
        Fault fault;
        return !Ledger::create(folder.path("new"), fault) && fault.kind == Fault::Kind::failed;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(QDir(folder.path(".")).entryList(QDir::Files | QDir::Hidden), QStringList());
    Fault fault;
    EXPECT_FALSE(Ledger::create(folder.path("no/folder"), fault));
    EXPECT_EQ(text(fault), "failed: cannot read the file system of " + folder.path("no").toStdString() +
                               ": No such file or directory");
}

}  // namespace
