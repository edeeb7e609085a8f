#include "tests/ledger/LedgerTest.h"

#include <QCryptographicHash>
#include <QProcess>

using ledger::Fault;
using ledger::Ledger;

namespace {

const char* name(Fault::Kind kind) {
    switch (kind) {
        case Fault::Kind::none:
            return "none";
        case Fault::Kind::unreachable:
            return "unreachable";
        case Fault::Kind::refused:
            return "refused";
        case Fault::Kind::failed:
            break;
    }
    return "failed";
}

}  // namespace

void LedgerTest::SetUp() {
    Fault fault;
    if (isSqlite()) {
        place = folder.path("line.ledger");
        ASSERT_TRUE(Ledger::create(place, fault)) << text(fault);
        return;
    }
    PostgresServer& server = PostgresServer::instance();
    ASSERT_TRUE(server.fault().isEmpty()) << server.fault().toStdString();
    database = server.newDatabase();
    ASSERT_TRUE(Ledger::create(server.url(database, QStringLiteral("owner")), fault)) << text(fault);
    const QByteArray output = server.psql(database, QStringLiteral("owner"), roleStatements());
    ASSERT_FALSE(output.contains("ERROR")) << output.constData();
    place = server.url(database, QStringLiteral("ledger_station"));
}

std::unique_ptr<Ledger> LedgerTest::open(const char* station, Ledger::Access access) const {
    auto opened = std::make_unique<Ledger>();
    Fault fault;
    EXPECT_TRUE(opened->open(place, access, QString::fromUtf8(station), fault)) << text(fault);
    return opened;
}

QByteArray LedgerTest::sql(const QByteArray& statement) const {
    if (!isSqlite()) {
        return PostgresServer::instance().psql(database, QStringLiteral("owner"),
                                               "SET search_path = ledger;\n" + statement);
    }
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral("sqlite3"), {QStringLiteral("-bail"), place});
    process.write("PRAGMA foreign_keys = ON;\n" + statement + ";\n");
    process.closeWriteChannel();
    EXPECT_TRUE(process.waitForFinished(-1)) << "sqlite3 is not installed";
    return process.readAll();
}

QByteArray roleStatements() {
    const QByteArray page = fileContent(QStringLiteral(QVORA_LEDGER_PAGE));
    const qsizetype begin = page.indexOf("```sql\n", page.indexOf("### Roles"));
    const qsizetype end = page.indexOf("```", begin + 3);
    EXPECT_TRUE(begin > 0 && end > begin) << "docs/ledger.md has no statements for roles";
    return page.sliced(begin + 7, end - begin - 7);
}

QByteArray fingerprint(int number) {
    return QCryptographicHash::hash("key " + QByteArray::number(number), QCryptographicHash::Sha256);
}

QByteArray part(int number, qsizetype size) {
    return QByteArray::number(number).rightJustified(size, '\0');
}

ledger::RecordRow lineAfter(const ledger::RecordRow& before, const QByteArray& kind) {
    ledger::RecordRow row;
    row.number = before.number + 1;
    const QByteArray previous = before.number == 0 ? QByteArray(64, '0') : before.hash.toHex();
    row.line = R"({"kind":")" + kind + R"(","number":)" + QByteArray::number(row.number) + R"(,"previous":")" +
               previous + R"("})";
    row.hash = QCryptographicHash::hash(row.line, QCryptographicHash::Sha256);
    return row;
}

ledger::ClaimRequest request(const char* serial, std::initializer_list<int> parts) {
    ledger::ClaimRequest made{QStringLiteral("meter"), QString::fromUtf8(serial), {}};
    for (const int number : parts) {
        made.ivs += {fingerprint(0), part(number)};
    }
    return made;
}

ledger::ClaimResult claimOne(Ledger& ledger, const ledger::ClaimRequest& request) {
    ledger::ClaimResult result;
    Fault fault;
    EXPECT_TRUE(ledger.claim({&request, 1}, {&result, 1}, fault)) << text(fault);
    return result;
}

bool finishOne(Ledger& ledger, const ledger::Attempt& attempt, ledger::Outcome::Kind kind, const char* reason) {
    const ledger::Outcome outcome{attempt, kind, QString::fromUtf8(reason), {}};
    bool isFinal = false;
    Fault fault;
    EXPECT_TRUE(ledger.finish({&outcome, 1}, {}, {&isFinal, 1}, fault)) << text(fault);
    return isFinal;
}

std::string findings(Ledger& ledger) {
    QStringList found;
    Fault fault;
    EXPECT_TRUE(ledger.check(found, fault)) << text(fault);
    return found.join(u'\n').toStdString();
}

std::string text(const Fault& fault) {
    return std::string(name(fault.kind)) + ": " + fault.text.toStdString();
}

const char* name(ledger::ClaimResult::Kind kind) {
    using Kind = ledger::ClaimResult::Kind;
    switch (kind) {
        case Kind::claimed:
            return "claimed";
        case Kind::alreadyProven:
            return "alreadyProven";
        case Kind::heldByOther:
            return "heldByOther";
        case Kind::heldHere:
            return "heldHere";
        case Kind::ivUsed:
            return "ivUsed";
        case Kind::keyRetired:
            break;
    }
    return "keyRetired";
}
