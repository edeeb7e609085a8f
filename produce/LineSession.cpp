#include "produce/LineSession.h"

#include "display/buildVersion.h"
#include "produce/ConsoleListener.h"
#include "produce/preflight.h"
#include "produce/readProductionJob.h"
#include "produce/runnerCommands.h"
#include "produce/stopSignals.h"

#include <QFileInfo>

#include <algorithm>
#include <thread>

namespace produce {

namespace {

constexpr int mostWorkersAllowed = 64;
constexpr qsizetype mostAheadOnServer = 1024;

bool refuse(const QString& fault) {
    printFault(fault);
    return false;
}

}  // namespace

bool isServer(const QString& ledgerPlace) {
    return ledgerPlace.startsWith(QLatin1String("postgresql://"));
}

QString fileBeside(const calls::Call& call, const char* option, const char* ending, QString& fault) {
    if (call.has(option)) {
        return call.value(option);
    }
    if (isServer(call.value("ledger"))) {
        fault = QStringLiteral("a ledger on a server needs --%1").arg(QLatin1String(option));
        return {};
    }
    return call.value("ledger") + QLatin1String(ending);
}

QString stationOf(const calls::Call& call, QString& fault) {
    const QString name = call.has("station") ? call.value("station") : QStringLiteral("station");
    if (!isName(name)) {
        fault = QStringLiteral("the name of a station has 1 to 64 letters, digits, \"-\", \"_\" and \".\"");
        return {};
    }
    return name;
}

LineSession::~LineSession() {
    publisher_.reset();
}

bool LineSession::open(const calls::Call& call, const QString& table, int mostWorkers) {
    handleStopSignals();
    return readJob(call, mostWorkers) && check(table) && openLedger(call);
}

bool LineSession::readJob(const calls::Call& call, int mostWorkers) {
    QString fault;
    int count = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    if (call.has("workers")) {
        bool isNumber = false;
        count = call.value("workers").toInt(&isNumber);
        if (!isNumber || count < 1 || count > mostWorkersAllowed) {
            return refuse(QStringLiteral("--workers needs a number from 1 to %1").arg(mostWorkersAllowed));
        }
    }
    if (!readProductionJob(call.operands.constFirst(), making_.job, fault) || !keys_.read(making_.job, fault)) {
        return refuse(fault);
    }
    making_.keyPaths = keys_.paths();
    if (!workers_.start(std::min(count, mostWorkers), making_)) {
        return refuse(QStringLiteral("the workers can't be started"));
    }
    static int noWords = 1;
    static char name[] = "qvora-produce";
    static char* words[] = {name, nullptr};
    application_ = std::make_unique<QCoreApplication>(noWords, words);
    station_ = stationOf(call, fault);
    const QString secret = fileBeside(call, "site-secret", ".site", fault);
    const QString key = fileBeside(call, "station-key", ".station.pem", fault);
    if (!fault.isEmpty() || !site_.read(secret, fault) || !keys_.openTokens(making_.job, fault) ||
        !keys_.fingerprint(site_, fault) || !openStationKey(key, stationKey_, fault) ||
        !folders_.open(call.value("output"), station_, fault)) {
        return refuse(fault);
    }
    return true;
}

bool LineSession::check(const QString& table) {
    PreflightOptions options;
    options.table = table;
    options.outputFolder = folders_.out();
    QList<Finding> findings;
    Totals totals;
    const bool isGood = preflight(making_.job, options, findings, totals);
    for (const Finding& finding : findings) {
        const bool isWarning = finding.severity == Finding::Severity::warning;
        printFault((isWarning ? QStringLiteral("warning: ") : QString()) + printed(finding));
    }
    const qint64 shown = std::count_if(findings.begin(), findings.end(), [](const Finding& finding) {
        return finding.severity == Finding::Severity::fault;
    });
    if (totals.faults > shown) {
        printFault(QStringLiteral("and %1 more faults").arg(totals.faults - shown));
    }
    total_ = table.isEmpty() || table == QLatin1String("-") ? -1 : totals.devices;
    return isGood;
}

bool LineSession::openLedger(const calls::Call& call) {
    const QString place = call.value("ledger");
    isShared_ = isServer(place);
    LineContext context{station_,
                        making_.job.product,
                        making_.job.digest,
                        {{QStringLiteral("qvora-produce"), QLatin1String(buildVersion)},
                         {QStringLiteral("tool"), QLatin1String(buildVersion)},
                         {QStringLiteral("opener"), QLatin1String(buildVersion)}}};
    line_.reset(new Line{making_.job, keys_, site_, folders_, stationKey_, context, place});
    publisher_ = std::make_unique<Publisher>(*line_);
    QString fault;
    return publisher_->start(recovered_, fault) || refuse(fault);
}

int LineSession::make(DeviceSource& source, RunListener& listener, qint64 haltAfter, RunCounts& counts) {
    LineRun::Options options;
    options.haltAfter = haltAfter;
    options.mostAhead = isShared_ ? mostAheadOnServer : options.mostAhead;
    LineRun run(*publisher_, workers_, listener, options);
    const LineRun::End end = run.run(source);
    counts = run.counts();
    if (end == LineRun::End::stopped) {
        return statusStopped;
    }
    const bool isAllProven = end == LineRun::End::done && counts.failed == 0 && counts.held == 0;
    return isAllProven ? statusDone : statusFailed;
}

}  // namespace produce
