// Fuzzes the production ledger with SQLite files: each is opened, summed up, checked, and used by a station. A refused
// file keeps its bytes. A device that was claimed can't be claimed again.

#include "fuzz/FuzzFile.h"
#include "ledger/Ledger.h"
#include "ledger/Summary.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

QByteArray contentOf(const QString& path) {
    QFile file(path);
    require(file.open(QIODevice::ReadOnly));
    return file.readAll();
}

void read(const QString& path, const QByteArray& bytes) {
    ledger::Ledger reader;
    ledger::Fault fault;
    if (!reader.open(path, ledger::Ledger::Access::readOnly, QStringLiteral("fuzz"), fault)) {
        require(fault.kind != ledger::Fault::Kind::none && !fault.text.isEmpty());
        require(contentOf(path) == bytes);
        return;
    }
    ledger::Summary summary;
    if (reader.summary(summary, fault)) {
        require(summary.outcomes.size() <= ledger::Summary::buckets);
        require(summary.troubles.size() <= ledger::Summary::mostTroubles);
    }
    QStringList findings;
    if (reader.check(findings, fault)) {
        require(findings.size() <= 100);
    }
    ledger::Head head;
    QList<ledger::RecordRow> lines;
    (void)reader.head(head, fault);
    (void)reader.recordAfter(0, 10, lines, fault);
}

void use(const QString& path) {
    ledger::Ledger station;
    ledger::Fault fault;
    if (!station.open(path, ledger::Ledger::Access::station, QStringLiteral("fuzz"), fault)) {
        return;
    }
    const ledger::ClaimRequest request{
        QStringLiteral("p"), QStringLiteral("s"), {{QByteArray(32, 'f'), QByteArray(8, 'i')}}};
    ledger::ClaimResult result;
    if (station.claim({&request, 1}, {&result, 1}, fault) && result.kind == ledger::ClaimResult::Kind::claimed) {
        ledger::ClaimResult again;
        require(!station.claim({&request, 1}, {&again, 1}, fault) || again.kind != ledger::ClaimResult::Kind::claimed);
        const ledger::Outcome outcome{result.attempt, ledger::Outcome::Kind::failed, QStringLiteral("x"), {}};
        bool isFinal = false;
        (void)station.finish({&outcome, 1}, {}, {&isFinal, 1}, fault);
    }
    ledger::Lease lease;
    (void)station.lease(16, lease, fault);
    QList<ledger::Attempt> attempts;
    (void)station.openClaims(attempts, fault);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzFile file(data, size, ".ledger");
    read(file.path(), QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    use(file.path());
    for (const char* const end : {"-wal", "-shm", "-journal", "-lock"}) {
        QFile::remove(file.path() + QLatin1String(end));
    }
    return 0;
}
