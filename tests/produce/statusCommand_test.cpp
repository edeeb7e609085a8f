#include "tests/produce/sampleLedger.h"
#include "tests/support/outsideTool.h"

#include "ledger/Ledger.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

struct Ended {
    int status = -1;
    QByteArray output;
    QByteArray errors;
};

Ended status(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral(QVORA_PRODUCE), QStringList(QStringLiteral("status")) + arguments);
    EXPECT_TRUE(process.waitForFinished(-1));
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1, process.readAllStandardOutput(),
            process.readAllStandardError()};
}

/// A ledger with the content of sampleLedger.sql, and then of more SQL.
QString sample(const TempFolder& folder, const QByteArray& more = {}) {
    const QString path = folder.path("line.ledger");
    EXPECT_EQ(makeSampleLedger(path, more).toStdString(), "");
    return path;
}

TEST(StatusCommand, PrintsAShortText) {
    const TempFolder folder;
    const QString path = sample(folder, "INSERT INTO station VALUES (char(27) || '[31m', 5);");
    const Ended ended = status({QStringLiteral("--ledger"), path});
    EXPECT_EQ(ended.status, 0) << ended.errors.constData();
    const QByteArrayList lines = ended.output.split('\n');
    ASSERT_EQ(lines.size(), 1 + 2 + 3 + 4 + 22 + 1) << ended.output.constData();
    EXPECT_TRUE(lines.at(0).startsWith("line.ledger, 20") && lines.at(0).endsWith(" UTC")) << lines.at(0).constData();
    const QByteArrayList middle = {"lamp: 0 proven, 0 failed, 0 interrupted, 2 open, 0 recalled",
                                   "meter-a: 2331 proven, 64 failed, 3 interrupted, 0 open, 2 recalled",
                                   "Keys:",
                                   "  696d616765206b65  image, 2400 IVs, usable",
                                   "  6669727374206b65  image 2025, 0 IVs, retired",
                                   "Stations:",
                                   "  \\u{1b}[31m: no line yet, no checkpoint",
                                   "  line-1: last line 1250 at 2026-09-21 20:28:20 UTC, checkpoint in line 1000",
                                   "  line-2: no line yet, no checkpoint",
                                   "Failures:"};
    EXPECT_EQ(lines.mid(1, middle.size()).join('\n').toStdString(), middle.join('\n').toStdString());
    EXPECT_EQ(lines.at(11).toStdString(),
              "  2026-09-21 20:06:32 UTC  A-2328 of meter-a, 1 failure: step 2 (provisioning-image): "
              "<script>alert(\"secrets/A-2328.bin\")</script> & no such file");
    EXPECT_EQ(lines.at(31).toStdString(), "  and 44 devices more");
}

TEST(StatusCommand, PrintsDocumentsOfTheirSchema) {
    const TempFolder folder;
    const QString path = sample(folder);
    const Ended full = status({QStringLiteral("--ledger"), path, QStringLiteral("--json")});
    const QString emptyPath = folder.path("empty.ledger");
    ledger::Fault fault;
    ASSERT_TRUE(ledger::Ledger::create(emptyPath, fault)) << fault.text.toStdString();
    const Ended empty = status({QStringLiteral("--ledger"), emptyPath, QStringLiteral("--json")});
    EXPECT_EQ(full.status, 0) << full.errors.constData();
    EXPECT_EQ(outsideTool(QStringLiteral("python3"),
                          {QStringLiteral(QVORA_VALIDATE_STATUS), QStringLiteral(QVORA_STATUS_SCHEMA),
                           folder.write("full.json", full.output), folder.write("empty.json", empty.output)})
                  .toStdString(),
              "");
    for (const char* part :
         {R"({"failed":64,"interrupted":3,"name":"meter-a","open":0,"proven":2331,"recalled":2})",
          R"("failedDevices":64)",
          R"("fingerprint":"696d616765206b6579206f66207468652073616d706c65206c65646765722020")",
          R"("source":"keys/<2025> & \"older\".bin")", R"("checkpoint":1000,"claims":1202,"lastLine":1250)"}) {
        EXPECT_TRUE(full.output.contains(part)) << part << "\nin\n" << full.output.constData();
    }
}

TEST(StatusCommand, WritesTheReportBesideTheDocument) {
    const TempFolder folder;
    const QString path = sample(folder);
    const QByteArray before = fileContent(path);
    const QString page = folder.path("report.html");
    const Ended both =
        status({QStringLiteral("--ledger"), path, QStringLiteral("--json"), QStringLiteral("--html"), page});
    EXPECT_EQ(both.status, 0) << both.errors.constData();
    EXPECT_TRUE(both.output.startsWith("{\"epochs\":")) << both.output.left(80).constData();
    const QByteArray content = outsideTool(QStringLiteral("python3"), {QStringLiteral(QVORA_CHECK_REPORT), page});
    EXPECT_FALSE(content.contains("fault: ")) << content.constData();
    EXPECT_TRUE(
        content.contains("row A-2328|meter-a|1|2026-09-21 20:06:32 UTC|step 2 (provisioning-image): "
                         "<script>alert(\"secrets/A-2328.bin\")</script> & no such file\n"));
    EXPECT_EQ(content.count("bar bar-proven"), 60);
    const Ended quiet = status({QStringLiteral("--ledger"), path, QStringLiteral("--html"), page});
    EXPECT_EQ(quiet.status, 0);
    EXPECT_EQ(quiet.output.toStdString(), "");
    EXPECT_EQ(fileContent(path), before);
}

// A report must never replace the ledger, its keys, or a file that SQLite makes later.
TEST(StatusCommand, ReplacesNoFileOfTheLedger) {
    const TempFolder folder;
    const QString path = sample(folder);
    folder.write("line.ledger.site", "secret");
    ASSERT_TRUE(QFile::link(path, folder.path("link.html")));
    ASSERT_TRUE(QDir(folder.path("")).mkdir(QStringLiteral("sub")));
    const QByteArray before = fileContent(path);
    for (const char* name : {"line.ledger", "line.ledger-journal", "line.ledger-wal", "line.ledger.site",
                             "sub/../line.ledger.station.pem", "link.html"}) {
        const QString page = folder.path("") + u'/' + QLatin1String(name);
        const bool wasThere = QFileInfo::exists(page);
        const Ended ended = status({QStringLiteral("--ledger"), path, QStringLiteral("--html"), page});
        EXPECT_EQ(ended.status, 2) << name;
        EXPECT_EQ(ended.errors.toStdString(), "qvora-produce: " + page.toStdString() +
                                                  " belongs to the ledger; a report needs a file of its own\n");
        EXPECT_EQ(QFileInfo::exists(page), wasThere) << name;
    }
    EXPECT_EQ(fileContent(path), before);
    EXPECT_EQ(folder.read("line.ledger.site"), "secret");

    const QString nowhere = folder.path("nowhere/report.html");
    const Ended ended =
        status({QStringLiteral("--ledger"), path, QStringLiteral("--json"), QStringLiteral("--html"), nowhere});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.output.toStdString(), "") << "nothing pretends success";
    EXPECT_EQ(ended.errors.toStdString(), "qvora-produce: " + nowhere.toStdString() + " can't be written\n");
}

// A station works in the ledger while it is read.
TEST(StatusCommand, DoesNotDisturbAStation) {
    int count = 1;
    char name[] = "test";
    char* words[] = {name, nullptr};
    const QCoreApplication application(count, words);
    const TempFolder folder;
    const QString path = sample(folder);
    ledger::Ledger station;
    ledger::Fault fault;
    ASSERT_TRUE(station.open(path, ledger::Ledger::Access::station, QStringLiteral("line-1"), fault))
        << fault.text.toStdString();
    for (int i = 0; i < 3; ++i) {
        const ledger::ClaimRequest request{QStringLiteral("lamp"), QStringLiteral("M-%1").arg(i), {}};
        ledger::ClaimResult result;
        ASSERT_TRUE(station.claim({&request, 1}, {&result, 1}, fault)) << fault.text.toStdString();
        EXPECT_EQ(result.kind, ledger::ClaimResult::Kind::claimed);
        const Ended ended = status({QStringLiteral("--ledger"), path});
        EXPECT_EQ(ended.status, 0) << ended.errors.constData();
        EXPECT_TRUE(
            ended.output.contains("lamp: 0 proven, 0 failed, 0 interrupted, " + QByteArray::number(3 + i) + " open"))
            << ended.output.constData();
    }
}

TEST(StatusCommand, ReportsDamagedLedgers) {
    const struct {
        const char* name;
        const char* sql;
        const char* text;  ///< part of the text
        const char* json;  ///< the fault of --json; empty if there is none
    } rows[] = {
        {"a number beyond 2^53",
         "INSERT INTO record VALUES ('line-2', 9223372036854775807, zeroblob(32), '{}', 1, zeroblob(16), 1);",
         "line-2: last line 9223372036854775807 at 1970-01-01 00:00:00 UTC, checkpoint in line 9223372036854775807",
         "qvora-produce: the ledger has a number beyond 2^53; \"ledger check\" shows the damage\n"},
        {"the first and the last time of all",
         "INSERT INTO outcome VALUES ('lamp', 'L-1', 1, 'failed', 'x', 'line-1', zeroblob(16), -9223372036854775808), "
         "('lamp', 'L-2', 1, 'failed', 'y', 'line-1', zeroblob(16), 9223372036854775807);",
         "unknown  L-2 of lamp, 1 failure: y",
         "qvora-produce: the ledger has a number beyond 2^53; \"ledger check\" shows the damage\n"},
        {"a time before 1970", "INSERT INTO station VALUES ('early', -5);", "early: no line yet", ""},
    };
    for (const auto& row : rows) {
        const TempFolder folder;
        const QString path = sample(folder, row.sql);
        const QStringList arguments{QStringLiteral("--ledger"), path};
        const Ended text = status(arguments);
        EXPECT_EQ(text.status, 0) << row.name << text.errors.constData();
        EXPECT_TRUE(text.output.contains(row.text)) << row.name << '\n' << text.output.constData();
        const Ended json = status(arguments + QStringList(QStringLiteral("--json")));
        EXPECT_EQ(json.errors.toStdString(), row.json) << row.name;
        EXPECT_EQ(json.status, *row.json == '\0' ? 0 : 2) << row.name;
        EXPECT_EQ(json.output.isEmpty(), *row.json != '\0') << row.name;
        const QString page = folder.path("report.html");
        EXPECT_EQ(status(arguments + QStringList{QStringLiteral("--html"), page}).status, 0) << row.name;
        const QByteArray content = outsideTool(QStringLiteral("python3"), {QStringLiteral(QVORA_CHECK_REPORT), page});
        EXPECT_FALSE(content.contains("fault: ")) << row.name << content.constData();
    }
    const TempFolder folder;
    const QString page = folder.path("report.html");
    const Ended ended =
        status({QStringLiteral("--ledger"), folder.write("text", "no ledger"), QStringLiteral("--html"), page});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.errors.count('\n'), 1) << ended.errors.constData();
    EXPECT_FALSE(QFileInfo::exists(page));
}

}  // namespace
