#include "produce/LineLedger.h"

#include "produce/LineFolders.h"
#include "produce/ProductionJob.h"
#include "produce/ledgerHead.h"
#include "produce/siteKeys.h"
#include "record/canonicalJson.h"

#include <QFile>
#include <QThread>

#include <algorithm>
#include <memory>
#include <vector>

namespace produce {

namespace {

constexpr std::uint32_t leaseSize = 1024;
constexpr qint64 checkpointLines = 1000;
constexpr unsigned long retryMilliseconds = 500;
constexpr int mostNewNonces = 8;
constexpr qsizetype recoveredAtOnce = 256;

ledger::Outcome outcomeOf(const MadeDevice& device) {
    ledger::Outcome outcome;
    outcome.attempt = device.plan.attempt;
    outcome.kind = device.isInterrupted     ? ledger::Outcome::Kind::interrupted
                   : device.result.isProven ? ledger::Outcome::Kind::proven
                                            : ledger::Outcome::Kind::failed;
    outcome.reason = device.reason;
    for (const StepResult& step : device.result.steps) {
        if (step.name.isEmpty()) {
            continue;
        }
        ledger::StepRow row;
        row.step = step.name;
        row.milliseconds = step.milliseconds;
        if (!step.outputs.isEmpty()) {
            row.output = step.outputs.constFirst().sha256;
            row.size = step.outputs.constFirst().size;
        }
        outcome.steps.append(row);
    }
    return outcome;
}

LineEvent::Kind eventKind(const MadeDevice& device) {
    return device.isInterrupted     ? LineEvent::Kind::interrupted
           : device.result.isProven ? LineEvent::Kind::proven
                                    : LineEvent::Kind::failed;
}

LineEvent eventOf(LineEvent::Kind kind, const QString& serial, const QString& text = QString()) {
    LineEvent event;
    event.kind = kind;
    event.serial = serial;
    event.text = text;
    return event;
}

}  // namespace

/// The lines and outcomes of one commit.
struct LineLedger::Batch {
    record::ChainHead head;
    QList<QJsonObject> bodies;
    QList<ledger::RecordRow> lines;
    QList<ledger::Outcome> outcomes;
};

LineLedger::LineLedger(const Line& line, Report report, std::function<bool()> goesOn)
    : line_(line), report_(std::move(report)), goesOn_(std::move(goesOn)), check_(line.job, line.folders.out()) {
}

/// Calls an operation of the ledger, and repeats it as long as the ledger doesn't answer.
bool LineLedger::call(const std::function<bool(ledger::Fault&)>& operation, QString& fault) {
    for (;;) {
        ledger::Fault reason;
        if (operation(reason)) {
            if (isUnreachable_) {
                isUnreachable_ = false;
                report_(eventOf(LineEvent::Kind::reached, {}));
            }
            return true;
        }
        if (reason.kind != ledger::Fault::Kind::unreachable || !goesOn_()) {
            fault = reason.text;
            return false;
        }
        if (!isUnreachable_) {
            isUnreachable_ = true;
            report_(eventOf(LineEvent::Kind::unreachable, {}, reason.text));
        }
        QThread::msleep(retryMilliseconds);
    }
}

bool LineLedger::breakOff(const QString& text) {
    report_(eventOf(LineEvent::Kind::broken, {}, text));
    return false;
}

bool LineLedger::open(qint64& recovered, QString& fault) {
    ledger::Fault reason;
    if (!ledger_.open(line_.ledgerPlace, ledger::Ledger::Access::station, line_.context.station, reason) ||
        !ledger_.head(head_, reason)) {
        fault = reason.text;
        return false;
    }
    if (!checkHead(line_.folders.headPath(), ledger_, fault) ||
        !recordFile_.open(line_.folders.recordPath(), ledger_, fault) || !loadPending(fault)) {
        return false;
    }
    for (const JobKeys::Known& key : line_.keys.all()) {
        if (!ledger_.addKey(key.fingerprint, key.name, {}, reason)) {
            fault = reason.text;
            return false;
        }
    }
    if (!recover(recovered, fault)) {
        return false;
    }
    Batch batch;
    std::vector<char> isFinal;
    batch.bodies.append(startLine(line_.context));
    devices_ = {};
    // The head must be on the disk before the first claim: open claims without a head belong to another output folder.
    return commit(batch, isFinal, fault) && line_.folders.flush(fault);
}

/// Reads the lines after the last checkpoint, because the next checkpoint covers them.
bool LineLedger::loadPending(QString& fault) {
    ledger::Fault reason;
    qint64 after = qMax<qint64>(0, head_.records - 2 * checkpointLines);
    record::ChainHead head;
    QList<ledger::RecordRow> lines;
    do {
        if (!ledger_.recordAfter(after, checkpointLines, lines, reason)) {
            fault = reason.text;
            return false;
        }
        for (const ledger::RecordRow& row : lines) {
            QJsonObject body;
            if (!record::parseCanonicalJson(row.line, body, fault)) {
                fault = QStringLiteral("line %1 of the ledger's record %2").arg(row.number).arg(fault);
                return false;
            }
            head = {row.number, row.hash};
            pending_.add(body, head);
            after = row.number;
        }
    } while (!lines.isEmpty());
    return true;
}

bool LineLedger::recover(qint64& recovered, QString& fault) {
    ledger::Fault reason;
    QList<ledger::Attempt> attempts;
    if (!ledger_.openClaims(attempts, reason)) {
        fault = reason.text;
        return false;
    }
    if (!attempts.isEmpty() && !QFile::exists(line_.folders.headPath())) {
        fault = QStringLiteral(
                    "an interrupted run of this station has %1 devices in another output folder: run once with "
                    "that folder, or end each claim with qvora-produce void")
                    .arg(attempts.size());
        return false;
    }
    recovered = attempts.size();
    for (qsizetype i = 0; i < attempts.size(); i += recoveredAtOnce) {
        QList<MadeDevice> devices;
        for (const ledger::Attempt& attempt : attempts.mid(i, recoveredAtOnce)) {
            MadeDevice device;
            device.plan.attempt = attempt;
            device.isInterrupted = true;
            device.reason = QStringLiteral("the run was interrupted");
            if (!line_.folders.discard(attempt, true, fault)) {
                return false;
            }
            devices.append(device);
        }
        if (!line_.folders.flush(fault) || !commitDevices(devices, fault)) {
            return false;
        }
    }
    return true;
}

/// Reports a device that can't be made. If the device is proven already, its missing files are no fault.
bool LineLedger::turnAway(const QString& serial, const QString& reason, QString& fault) {
    bool isProven = false;
    if (!call([&](ledger::Fault& problem) { return ledger_.isProven(line_.job.product, serial, isProven, problem); },
              fault)) {
        return false;
    }
    LineEvent event =
        eventOf(isProven ? LineEvent::Kind::proven : LineEvent::Kind::refused, serial, isProven ? QString() : reason);
    event.wasBefore = isProven;
    report_(std::move(event));
    return true;
}

/// Plans a device. `isPlanned` is false if it was turned away.
bool LineLedger::plan(const DeviceRow& row, DevicePlan& plan, bool& isPlanned, QString& fault) {
    if (nonces_.left() < noncesNeeded(line_.job)) {
        ledger::Lease lease;
        if (!call([&](ledger::Fault& reason) { return ledger_.lease(leaseSize, lease, reason); }, fault)) {
            return false;
        }
        nonces_.use(lease);
    }
    QString reason = check_.fault(row);
    plan.task.id = ++lastId_;
    isPlanned = reason.isEmpty() && planDevice(line_.job, line_.keys, line_.site, row,
                                               line_.folders.makingPath(row.serial), nonces_, plan, reason);
    return isPlanned || turnAway(row.serial, reason, fault);
}

bool LineLedger::claim(const QList<DeviceRow>& rows) {
    QList<DevicePlan> plans;
    QString fault;
    for (const DeviceRow& row : rows) {
        DevicePlan made;
        bool isPlanned = false;
        if (!plan(row, made, isPlanned, fault)) {
            return breakOff(fault);
        }
        if (isPlanned) {
            plans.append(made);
        }
    }
    // A nonce of the ledger can lead to the same IV as a nonce of the user. That is as rare as a lucky guess. The
    // device then gets another nonce.
    for (int i = 0; i < mostNewNonces && !plans.isEmpty(); ++i) {
        QList<DevicePlan> again;
        if (!claimPlans(plans, again)) {
            return false;
        }
        plans.clear();
        for (const DevicePlan& old : again) {
            DeviceRow row;
            row.serial = old.task.serial;
            row.values = old.task.values;
            DevicePlan made;
            bool isPlanned = false;
            if (!plan(row, made, isPlanned, fault)) {
                return breakOff(fault);
            }
            if (isPlanned) {
                plans.append(made);
            }
        }
    }
    for (const DevicePlan& left : plans) {
        report_(eventOf(LineEvent::Kind::refused, left.task.serial,
                        QStringLiteral("every nonce of the ledger shares its IV with an image of the key")));
    }
    return true;
}

bool LineLedger::claimPlans(QList<DevicePlan>& plans, QList<DevicePlan>& again) {
    std::vector<ledger::ClaimRequest> requests;
    for (const DevicePlan& plan : plans) {
        ledger::ClaimRequest request{line_.job.product, plan.task.serial, {}};
        for (const StepIv& iv : plan.ivs) {
            request.ivs.append(iv.use);
        }
        requests.push_back(request);
    }
    std::vector<ledger::ClaimResult> results(requests.size());
    QString fault;
    if (!call([&](ledger::Fault& reason) { return ledger_.claim(requests, results, reason); }, fault)) {
        return breakOff(fault);
    }
    head_.claims += std::count_if(results.begin(), results.end(), [](const ledger::ClaimResult& result) {
        return result.kind == ledger::ClaimResult::Kind::claimed;
    });
    if (!writeHead(line_.folders.headPath(), head_, fault)) {
        return breakOff(fault);
    }
    for (qsizetype i = 0; i < plans.size(); ++i) {
        reportClaim(plans[i], results[static_cast<std::size_t>(i)], again);
    }
    return true;
}

void LineLedger::reportClaim(DevicePlan& plan, const ledger::ClaimResult& result, QList<DevicePlan>& again) {
    using Kind = ledger::ClaimResult::Kind;
    LineEvent event = eventOf(LineEvent::Kind::refused, plan.task.serial);
    switch (result.kind) {
        case Kind::claimed:
            event.kind = LineEvent::Kind::claimed;
            plan.attempt = result.attempt;
            event.plan = std::move(plan);
            break;
        case Kind::alreadyProven:
            event.kind = LineEvent::Kind::proven;
            event.wasBefore = true;
            break;
        case Kind::heldByOther:
            event.kind = LineEvent::Kind::held;
            event.text = QStringLiteral("the station %1 has claimed it").arg(result.station);
            event.plan = std::move(plan);  // the run asks again with the plan's row
            break;
        case Kind::heldHere:
            event.text = QStringLiteral("this run has claimed it before");
            break;
        case Kind::ivUsed:
            if (result.iv >= 0 && result.iv < plan.ivs.size() && plan.ivs.at(result.iv).isOurs) {
                again.append(plan);
                return;
            }
            event.text = QStringLiteral("the nonce of the step %1 shares its IV with an image of the same key")
                             .arg(line_.job.steps.at(plan.ivs.value(result.iv).step).name);
            break;
        case Kind::keyRetired:
            event.text = QStringLiteral("the key of the step %1 is retired")
                             .arg(line_.job.steps.at(plan.ivs.value(result.iv).step).name);
            break;
    }
    report_(std::move(event));
}

/// Moves the files of a proven device to its folder, and those of any other device to `void`.
bool LineLedger::place(const MadeDevice& device, QString& fault) const {
    return device.result.isProven ? line_.folders.publish(device.plan.attempt, fault)
                                  : line_.folders.discard(device.plan.attempt, false, fault);
}

/// Adds a checkpoint to an empty batch if enough lines were committed since the last one.
void LineLedger::addCheckpoint(Batch& batch) {
    QJsonObject body;
    if (pending_.lines() >= checkpointLines &&
        pending_.takeCheckpoint(line_.stationKey, line_.context.station, timeOfNow(), body)) {
        batch.bodies.append(body);
    }
}

/// Chains the lines and commits them with the outcomes. `isFinal` marks the outcomes that are the first of their
/// attempts; unless all are, nothing was committed.
bool LineLedger::commit(Batch& batch, std::vector<char>& isFinal, QString& fault) {
    batch.head = {head_.records, head_.hash};
    batch.lines.clear();
    QList<record::ChainHead> heads;
    for (const QJsonObject& body : batch.bodies) {
        const QByteArray line = record::nextLine(body, batch.head);
        if (line.isEmpty()) {
            fault = QStringLiteral("a line of the record can't be written");
            return false;
        }
        batch.lines.append({batch.head.number, batch.head.hash, line});
        heads.append(batch.head);
    }
    const std::unique_ptr<bool[]> finals(new bool[static_cast<std::size_t>(batch.outcomes.size())]());
    const std::span<bool> finalSpan(finals.get(), static_cast<std::size_t>(batch.outcomes.size()));
    if (!call([&](ledger::Fault& reason) { return ledger_.finish(batch.outcomes, batch.lines, finalSpan, reason); },
              fault)) {
        return false;
    }
    isFinal.assign(finalSpan.begin(), finalSpan.end());
    if (std::find(isFinal.begin(), isFinal.end(), 0) != isFinal.end()) {
        return true;
    }
    for (qsizetype i = 0; i < batch.bodies.size(); ++i) {
        pending_.add(batch.bodies.at(i), heads.at(i));
        devices_.add(batch.bodies.at(i));
    }
    head_.records = batch.head.number;
    head_.hash = batch.head.hash;
    return recordFile_.append(batch.lines, fault) && writeHead(line_.folders.headPath(), head_, fault);
}

bool LineLedger::commitDevices(QList<MadeDevice>& devices, QString& fault) {
    Batch first;
    addCheckpoint(first);
    for (;;) {
        Batch batch;
        batch.bodies = first.bodies;
        for (const MadeDevice& device : devices) {
            batch.outcomes.append(outcomeOf(device));
            batch.bodies.append(device.isInterrupted
                                    ? interruptedLine(line_.context, device.plan.attempt, device.reason)
                                    : deviceLine(line_.context, device.plan, device.result, device.reason, line_.site));
        }
        std::vector<char> isFinal;
        if (!commit(batch, isFinal, fault)) {
            return false;
        }
        if (std::find(isFinal.begin(), isFinal.end(), 0) == isFinal.end()) {
            break;
        }
        // A user or another station has ended the attempt, and written its line in another record. The files are moved
        // to `void`.
        QList<MadeDevice> left;
        for (qsizetype i = 0; i < devices.size(); ++i) {
            if (isFinal[static_cast<std::size_t>(i)] != 0) {
                left.append(devices.at(i));
            } else if (line_.folders.discard(devices.at(i).plan.attempt, devices.at(i).result.isProven, fault)) {
                report_(eventOf(LineEvent::Kind::interrupted, devices.at(i).plan.attempt.serial,
                                QStringLiteral("the attempt was ended by a user or by another station")));
            } else {
                return false;
            }
        }
        devices = left;
    }
    if (!first.bodies.isEmpty()) {
        report_(eventOf(LineEvent::Kind::checkpoint, {}));
    }
    return true;
}

bool LineLedger::finish(QList<MadeDevice>& devices) {
    QString fault;
    for (const MadeDevice& device : devices) {
        if (!place(device, fault)) {
            return breakOff(fault);
        }
    }
    if (!line_.folders.flush(fault) || !commitDevices(devices, fault)) {
        return breakOff(fault);
    }
    for (const MadeDevice& device : devices) {
        report_(eventOf(eventKind(device), device.plan.attempt.serial, device.reason));
    }
    return true;
}

bool LineLedger::end() {
    QString fault;
    Batch batch;
    std::vector<char> isFinal;
    batch.bodies.append(endLine(line_.context, devices_));
    if (!commit(batch, isFinal, fault)) {
        return breakOff(fault);
    }
    Batch last;
    QJsonObject body;
    if (!pending_.takeCheckpoint(line_.stationKey, line_.context.station, timeOfNow(), body)) {
        return breakOff(QStringLiteral("the record can't be signed"));
    }
    last.bodies.append(body);
    if (!commit(last, isFinal, fault) || !recordFile_.flush(fault) || !line_.folders.flush(fault)) {
        return breakOff(fault);
    }
    report_(eventOf(LineEvent::Kind::checkpoint, {}));
    return true;
}

}  // namespace produce
