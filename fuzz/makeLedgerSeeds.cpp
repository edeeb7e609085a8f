// make_ledger_seeds FOLDER: writes a new ledger and one with rows, with small pages, so that both are small.

#include "ledger/Ledger.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>

#include <cstdio>

namespace {

bool fill(const QString& path) {
    ledger::Ledger station;
    ledger::Fault fault;
    ledger::Lease lease;
    qint64 added = 0;
    const QByteArray key(32, 'k');
    const ledger::IvUse imported{key, QByteArray(16, 'i')};
    ledger::RecordRow line;
    line.number = 1;
    line.line = R"({"kind":"checkpoint","number":1,"previous":")" + QByteArray(64, '0') + R"("})";
    line.hash = QCryptographicHash::hash(line.line, QCryptographicHash::Sha256);
    const ledger::ClaimRequest request{QStringLiteral("meter"), QStringLiteral("A1"), {{key, QByteArray(8, '1')}}};
    ledger::ClaimResult result;
    bool isFinal = false;
    ledger::Attempt recalled;
    if (!station.open(path, ledger::Ledger::Access::station, QStringLiteral("one"), fault) ||
        !station.lease(64, lease, fault) ||
        !station.addKey(key, QStringLiteral("image key"), QStringLiteral("file"), fault) ||
        !station.importIvs({&imported, 1}, QStringLiteral("old"), {}, added, fault) ||
        !station.claim({&request, 1}, {&result, 1}, fault)) {
        return false;
    }
    const ledger::Outcome outcome{
        result.attempt, ledger::Outcome::Kind::proven, {}, {{QStringLiteral("step"), QByteArray(32, 'o'), 1, 1}}};
    return station.finish({&outcome, 1}, {&line, 1}, {&isFinal, 1}, fault) &&
           station.recall(request.product, request.serial, QStringLiteral("scratched"), {}, recalled, fault) &&
           station.claim({&request, 1}, {&result, 1}, fault) && station.retireKey(key, {}, fault);
}

bool shrink(const QString& path) {
    bool isGood = false;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), path);
        database.setDatabaseName(path);
        isGood = database.open();
        for (const char* const statement : {"PRAGMA journal_mode = DELETE", "PRAGMA page_size = 512", "VACUUM"}) {
            isGood = isGood && QSqlQuery(database).exec(QString::fromLatin1(statement));
        }
    }
    QSqlDatabase::removeDatabase(path);
    return isGood;
}

}  // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QDir folder(QString::fromLocal8Bit(argc == 2 ? argv[1] : "."));
    folder.mkpath(QStringLiteral("."));
    for (const char* const name : {"new", "filled"}) {
        const QString path = folder.filePath(QLatin1String(name));
        QFile::remove(path);
        ledger::Fault fault;
        if (!ledger::Ledger::create(path, fault) || (qstrcmp(name, "filled") == 0 && !fill(path)) || !shrink(path)) {
            std::fprintf(stderr, "cannot make %s: %s\n", qUtf8Printable(path), qUtf8Printable(fault.text));
            return 1;
        }
        QFile::remove(path + QStringLiteral("-lock"));
    }
    return 0;
}
