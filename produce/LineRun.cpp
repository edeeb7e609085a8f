#include "produce/LineRun.h"

#include "files/wipe.h"
#include "produce/stopSignals.h"

#include <poll.h>

#include <algorithm>
#include <vector>

namespace produce {

namespace {

// A commit costs the same for one device and for many, so a busy run waits a little for more devices.
constexpr qsizetype fullBatch = 64;
constexpr qint64 longestWait = 40;  // milliseconds
constexpr qsizetype mostRowsAtOnce = 64;
constexpr qsizetype aheadOfEachWorker = 4;
constexpr qsizetype secondsAhead = 4;
constexpr qint64 rateMilliseconds = 1000;
constexpr int pollMilliseconds = 250;
constexpr qint64 progressMilliseconds = 250;
constexpr qint64 retryMilliseconds = 1000;
constexpr int mostRetries = 30;

void wipeMemory(DevicePlan& plan) {
    for (QByteArray& secret : plan.task.memory) {
        wipeIfOwned(secret);
    }
}

QString reasonOf(const DeviceResult& result) {
    if (result.isProven || result.steps.isEmpty()) {
        return {};
    }
    const StepResult& last = result.steps.constLast();
    return last.name.isEmpty() ? last.reason : last.name + QStringLiteral(": ") + last.reason;
}

}  // namespace

LineRun::LineRun(Publisher& publisher, Workers& workers, RunListener& listener, const Options& options)
    : publisher_(publisher), workers_(workers), listener_(listener), options_(options) {
    lastProgress_.start();
    lastRetry_.start();
    rateStart_.start();
}

LineRun::End LineRun::run(DeviceSource& source) {
    for (;;) {
        if (isStopRequested()) {
            stop(End::stopped);
        }
        takeEvents();
        if (end_ == End::broken) {
            return end_;
        }
        handOut();
        submitMade();
        submitRows(source);
        retryHeld();
        if (isFinished()) {
            return finishRun();
        }
        wait(waitsForSource_ ? source.descriptor() : -1);
        if (lastProgress_.elapsed() >= progressMilliseconds) {
            lastProgress_.restart();
            listener_.progressed(counts_);
        }
    }
}

/// Handles the publisher's events. First reads whether the publisher has work, because it reports the events of its
/// work before it counts the work as done.
void LineRun::takeEvents() {
    claims_ = publisher_.claimsWaiting();
    const bool isFinishing = publisher_.finishesWaiting() > 0;
    for (LineEvent& event : publisher_.takeEvents()) {
        take(std::move(event));
    }
    inPublisher_ = isFinishing ? inPublisher_ : 0;
}

LineRun::End LineRun::finishRun() {
    counts_.held = held_.size();
    for (const DeviceRow& row : held_) {
        listener_.deviceEnded(row.serial, RunListener::Verdict::held, QStringLiteral("another station has claimed it"));
    }
    publisher_.end();
    bool isIdle = false;
    while (!isIdle && end_ != End::broken) {
        wait(-1);
        isIdle = publisher_.isIdle();
        takeEvents();
    }
    return end_;
}

void LineRun::handOut() {
    if (isStopping_) {
        interruptRest();
    }
    while (!toMake_.empty() && workers_.hasRoom()) {
        DevicePlan& plan = toMake_.front();
        if (!workers_.send(plan.task)) {
            break;
        }
        inProgress_.insert(plan.task.id, plan);
        toMake_.pop_front();
    }
    if (!workers_.isAlive() && !isStopping_) {
        listener_.warn(QStringLiteral("no worker is left"));
        stop(End::halted);
        interruptRest();
    }
}

/// Ends the devices that were claimed but not begun, so that no claim stays open.
void LineRun::interruptRest() {
    for (DevicePlan& plan : toMake_) {
        wipeMemory(plan);
        made_.append({std::move(plan), {}, true, QStringLiteral("the run was stopped")});
    }
    toMake_.clear();
}

void LineRun::submitMade() {
    if (made_.isEmpty() || inPublisher_ > 0) {
        return;
    }
    const bool isBusy = !toMake_.empty() || !inProgress_.isEmpty() || claims_ > 0;
    if (made_.size() < fullBatch && isBusy && oldestMade_.isValid() && oldestMade_.elapsed() < longestWait) {
        return;
    }
    inPublisher_ += made_.size();
    publisher_.finish(std::exchange(made_, {}));
    oldestMade_.invalidate();
}

/// The number of devices that may be claimed and not yet committed: as many as the workers make in a few seconds. So a
/// station works on while the server of its ledger doesn't answer, but leaves the rest of the table to other stations.
qsizetype LineRun::ahead() {
    if (rateStart_.elapsed() >= rateMilliseconds) {
        madeBefore_ = rateStart_.elapsed() < 2 * rateMilliseconds ? madeLately_ : 0;
        madeLately_ = 0;
        rateStart_.restart();
    }
    const qsizetype least = aheadOfEachWorker * workers_.count();
    return std::clamp(secondsAhead * std::max(madeBefore_, madeLately_), least, std::max(least, options_.mostAhead));
}

void LineRun::submitRows(DeviceSource& source) {
    const qsizetype open = static_cast<qsizetype>(toMake_.size()) + inProgress_.size() + made_.size() + inPublisher_;
    const qsizetype room = ahead();
    const qsizetype rowsAtOnce = std::min(mostRowsAtOnce, room / 2);
    waitsForSource_ = false;
    if (isStopping_ || isSourceAtEnd_ || claims_ > 0 || open + rowsAtOnce > room) {
        return;
    }
    QList<DeviceRow> rows;
    while (rows.size() < rowsAtOnce) {
        DeviceRow row;
        QString fault;
        const DeviceSource::Next next = source.next(row, fault);
        if (next == DeviceSource::Next::row) {
            rows.append(row);
            continue;
        }
        waitsForSource_ = next == DeviceSource::Next::later;
        isSourceAtEnd_ = !waitsForSource_;
        if (next == DeviceSource::Next::fault) {
            listener_.warn(fault);
            stop(End::halted);
        }
        break;
    }
    if (!rows.isEmpty()) {
        claims_ = 1;
        publisher_.claim(rows);
    }
}

/// Asks again for devices that other stations had claimed. By now they may be proven, or this station can make them.
void LineRun::retryHeld() {
    if (held_.isEmpty() || isStopping_ || !isSourceAtEnd_ || !isQuiet() || retries_ >= mostRetries ||
        lastRetry_.elapsed() < retryMilliseconds) {
        return;
    }
    ++retries_;
    lastRetry_.restart();
    claims_ = 1;
    publisher_.claim(std::exchange(held_, {}));
}

/// Whether no device is being claimed, made or committed.
bool LineRun::isQuiet() const {
    return toMake_.empty() && inProgress_.isEmpty() && made_.isEmpty() && claims_ == 0 && inPublisher_ == 0;
}

bool LineRun::isFinished() const {
    const bool isOthersTurn = !held_.isEmpty() && !isStopping_ && retries_ < mostRetries;
    return (isSourceAtEnd_ || isStopping_) && isQuiet() && !isOthersTurn;
}

void LineRun::wait(int descriptor) {
    std::vector<pollfd> files;
    for (const int socket : workers_.sockets()) {
        files.push_back({socket, POLLIN, 0});
    }
    const std::size_t workers = files.size();
    files.push_back({publisher_.descriptor(), POLLIN, 0});
    files.push_back({isStopping_ ? -1 : stopDescriptor(), POLLIN, 0});
    files.push_back({descriptor, POLLIN, 0});
    const int timeout = made_.isEmpty() ? pollMilliseconds : static_cast<int>(longestWait);
    if (poll(files.data(), files.size(), timeout) <= 0) {
        return;
    }
    for (std::size_t i = 0; i < workers; ++i) {
        if (files[i].revents != 0) {
            takeResults(i);
        }
    }
}

void LineRun::takeResults(std::size_t worker) {
    QList<DeviceResult> results;
    workers_.receiveFrom(worker, results);
    for (const DeviceResult& result : results) {
        DevicePlan plan = inProgress_.take(result.id);
        wipeMemory(plan);
        if (made_.isEmpty()) {
            oldestMade_.start();
        }
        countFailures(result.isProven);
        ++madeLately_;
        made_.append({std::move(plan), result, false, reasonOf(result)});
    }
}

void LineRun::take(LineEvent&& event) {
    using Kind = LineEvent::Kind;
    switch (event.kind) {
        case Kind::claimed:
            toMake_.push_back(std::move(event.plan));
            break;
        case Kind::proven:
        case Kind::failed:
        case Kind::interrupted:
            if (event.wasBefore) {
                ++counts_.provenBefore;
                listener_.deviceEnded(event.serial, RunListener::Verdict::provenBefore, {});
            } else {
                countEnd(event.kind, event.serial, event.text);
            }
            break;
        case Kind::refused:
            countFailures(false);
            countEnd(Kind::failed, event.serial, event.text);
            break;
        case Kind::held: {
            DeviceRow row;
            row.serial = event.plan.task.serial;
            row.values = event.plan.task.values;
            held_.append(row);
            break;
        }
        case Kind::checkpoint:
            listener_.checkpointWritten();
            break;
        case Kind::unreachable:
            listener_.warn(QStringLiteral("the ledger doesn't answer; trying again (%1)").arg(event.text));
            break;
        case Kind::reached:
            listener_.warn(QStringLiteral("the ledger answers again"));
            break;
        case Kind::broken:
            listener_.warn(event.text);
            end_ = End::broken;
            break;
    }
}

void LineRun::countEnd(LineEvent::Kind kind, const QString& serial, const QString& reason) {
    if (kind == LineEvent::Kind::proven) {
        ++counts_.proven;
        listener_.deviceEnded(serial, RunListener::Verdict::proven, {});
    } else if (kind == LineEvent::Kind::interrupted) {
        ++counts_.interrupted;
        listener_.deviceEnded(serial, RunListener::Verdict::interrupted, reason);
    } else {
        ++counts_.failed;
        listener_.deviceEnded(serial, RunListener::Verdict::failed, reason);
    }
}

/// Halts the run after too many failures in a row, in the order in which the steps of the devices ended.
void LineRun::countFailures(bool isProven) {
    failuresInRow_ = isProven ? 0 : failuresInRow_ + 1;
    if (options_.haltAfter > 0 && failuresInRow_ >= options_.haltAfter && !isStopping_) {
        listener_.warn(QStringLiteral("stopped after %1 failures in a row").arg(failuresInRow_));
        stop(End::halted);
    }
}

void LineRun::stop(End end) {
    if (!isStopping_) {
        isStopping_ = true;
        end_ = end_ == End::done ? end : end_;
    }
}

}  // namespace produce
