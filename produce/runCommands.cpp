// The commands that read a job: check, run, one.

#include "produce/ConsoleListener.h"
#include "produce/LineSession.h"
#include "produce/preflight.h"
#include "produce/readProductionJob.h"
#include "produce/runnerCommands.h"
#include "produce/siteKeys.h"
#include "record/canonicalJson.h"

#include <QJsonArray>

#include <unistd.h>

#include <cstdio>
#include <limits>

namespace produce {

namespace {

int refuse(const QString& fault) {
    printFault(fault);
    return statusNothing;
}

/// The rows of a table.
class TableSource : public DeviceSource {
  public:
    [[nodiscard]] bool open(const QString& path, const QStringList& columns, QString& fault) {
        TableFault reason;
        const bool isOpen = table_.open(path, columns, reason);
        fault = textOf(reason);
        isPipe_ = path == QLatin1String("-");
        return isOpen;
    }

    [[nodiscard]] int descriptor() const override { return isPipe_ ? STDIN_FILENO : -1; }

    [[nodiscard]] Next next(DeviceRow& row, QString& fault) override {
        TableFault reason;
        if (isPipe_ && !table_.isReady()) {
            return Next::later;
        }
        switch (table_.next(row, reason)) {
            case DeviceTable::Next::row:
                return isPipe_ && seen_.add(row.serial, row.line) != 0 ? refuseRepeated(row, fault) : Next::row;
            case DeviceTable::Next::end:
                return Next::end;
            case DeviceTable::Next::badRow:
            case DeviceTable::Next::fault:
                break;
        }
        fault = textOf(reason);
        return Next::fault;
    }

  private:
    static QString textOf(const TableFault& fault) {
        return printed({Finding::Severity::fault, fault.file, fault.line, fault.column, fault.text});
    }

    static Next refuseRepeated(const DeviceRow& row, QString& fault) {
        fault = QStringLiteral("line %1: the serial %2 occurs twice").arg(row.line).arg(row.serial);
        return Next::fault;
    }

    DeviceTable table_;
    SerialSet seen_;  // the serials of a pipe; those of a file were compared before the run
    bool isPipe_ = false;
};

/// A single device.
class OneSource : public DeviceSource {
  public:
    explicit OneSource(const DeviceRow& row) : row_(row) {}
    [[nodiscard]] Next next(DeviceRow& row, QString& /*fault*/) override {
        row = row_;
        return std::exchange(isGiven_, true) ? Next::end : Next::row;
    }

  private:
    DeviceRow row_;
    bool isGiven_ = false;
};

/// The values of a device from NAME=VALUE texts.
bool takeColumns(const ProductionJob& job, const QStringList& texts, DeviceRow& row, QString& fault) {
    QHash<QString, QString> given;
    for (const QString& text : texts) {
        const QString name = text.section(u'=', 0, 0);
        if (!text.contains(u'=') || !job.columns.contains(name) || given.contains(name)) {
            fault = QStringLiteral("--column %1: the job has no such column, or it is given twice").arg(text);
            return false;
        }
        given.insert(name, text.section(u'=', 1));
    }
    for (const QString& column : job.columns) {
        if (!given.contains(column)) {
            fault = QStringLiteral("the column %1 is missing: --column %1=VALUE").arg(column);
            return false;
        }
        row.values.append(given.value(column));
    }
    return true;
}

bool numberOfOption(const calls::Call& call, const char* name, qint64& number) {
    bool isNumber = true;
    number = call.has(name) ? call.value(name).toLongLong(&isNumber) : 0;
    if (!isNumber || number < 0 || (call.has(name) && number == 0)) {
        printFault(QStringLiteral("--%1 needs a number from 1").arg(QLatin1String(name)));
        return false;
    }
    return true;
}

}  // namespace

int runCheck(const calls::Call& call) {
    static int count = 1;
    static char name[] = "qvora-produce";
    static char* words[] = {name, nullptr};
    const QCoreApplication application(count, words);
    ProductionJob job;
    QString fault;
    if (!readProductionJob(call.operands.constFirst(), job, fault)) {
        return refuse(fault);
    }
    JobKeys keys;
    if (!keys.openTokens(job, fault)) {
        return refuse(fault);
    }
    PreflightOptions options;
    options.table = call.value("devices");
    options.outputFolder = call.has("output") ? call.value("output") : QStringLiteral(".");
    QList<Finding> findings;
    Totals totals;
    const bool isGood = preflight(job, options, findings, totals);
    if (call.has("json")) {
        QJsonArray list;
        for (const Finding& finding : findings) {
            const bool isFault = finding.severity == Finding::Severity::fault;
            list.append(
                QJsonObject{{QStringLiteral("severity"), isFault ? QStringLiteral("fault") : QStringLiteral("warning")},
                            {QStringLiteral("file"), finding.file},
                            {QStringLiteral("line"), finding.line},
                            {QStringLiteral("column"), finding.column},
                            {QStringLiteral("text"), finding.text}});
        }
        const QJsonObject document{{QStringLiteral("devices"), totals.devices},
                                   {QStringLiteral("steps"), job.steps.size()},
                                   {QStringLiteral("faults"), totals.faults},
                                   {QStringLiteral("warnings"), totals.warnings},
                                   {QStringLiteral("bytesNeeded"), totals.bytesNeeded},
                                   {QStringLiteral("bytesFree"), totals.bytesFree},
                                   {QStringLiteral("findings"), list}};
        std::printf("%s\n", record::canonicalJson(document).constData());
        return isGood ? statusDone : statusNothing;
    }
    for (const Finding& finding : findings) {
        const bool isWarning = finding.severity == Finding::Severity::warning;
        printFault((isWarning ? QStringLiteral("warning: ") : QString()) + printed(finding));
    }
    if (isGood) {
        std::printf("%s: %lld steps, %lld devices, ready\n", qUtf8Printable(printable(job.product)),
                    static_cast<long long>(job.steps.size()), static_cast<long long>(totals.devices));
    } else {
        std::printf("%s: %lld faults\n", qUtf8Printable(printable(job.product)), static_cast<long long>(totals.faults));
    }
    return isGood ? statusDone : statusNothing;
}

int runRun(const calls::Call& call) {
    qint64 haltAfter = 0;
    QString fault;
    LineSession session;
    TableSource source;
    if (!numberOfOption(call, "halt-after", haltAfter) ||
        !session.open(call, call.value("devices"), std::numeric_limits<int>::max())) {
        return statusNothing;
    }
    if (!source.open(call.value("devices"), session.job().columns, fault)) {
        return refuse(fault);
    }
    ConsoleListener listener(call.has("json"), session.total());
    listener.runStarted(session.job().product, session.station(), session.recovered());
    RunCounts counts;
    const int status = session.make(source, listener, haltAfter, counts);
    listener.runEnded(counts, status);
    return status;
}

int runOne(const calls::Call& call) {
    QString fault;
    DeviceRow row;
    row.serial = call.value("serial");
    fault = serialFault(row.serial);
    if (!fault.isEmpty()) {
        return refuse(QStringLiteral("--serial: ") + fault);
    }
    LineSession session;
    if (!session.open(call, {}, 1)) {
        return statusNothing;
    }
    if (!takeColumns(session.job(), call.values("column"), row, fault)) {
        return refuse(fault);
    }
    OneSource source(row);
    ConsoleListener listener(call.has("json"), 1);
    listener.runStarted(session.job().product, session.station(), session.recovered());
    RunCounts counts;
    const int status = session.make(source, listener, 0, counts);
    listener.runEnded(counts, status);
    return status;
}

}  // namespace produce
