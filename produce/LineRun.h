#pragma once

#include "produce/Publisher.h"
#include "produce/RunListener.h"
#include "produce/Workers.h"

#include <QElapsedTimer>
#include <QHash>

#include <deque>

namespace produce {

/// The source of the devices of a run.
class DeviceSource {
  public:
    enum class Next { row, later, end, fault };

    DeviceSource() = default;
    virtual ~DeviceSource() = default;
    DeviceSource(const DeviceSource&) = delete;
    DeviceSource& operator=(const DeviceSource&) = delete;

    /// The next device. `later` means that `descriptor` must become readable first.
    [[nodiscard]] virtual Next next(DeviceRow& row, QString& fault) = 0;
    /// The descriptor to wait for; -1 if `next` never returns `later`.
    [[nodiscard]] virtual int descriptor() const { return -1; }
};

/// The main loop of a run: reads devices, has them claimed, made and committed. It has one thread, and waits for
/// workers, the publisher and signals in one place.
class LineRun {
  public:
    struct Options {
        qint64 haltAfter = 0;       ///< failures in a row; 0: never
        qsizetype mostAhead = 128;  ///< devices that are claimed and not yet committed
    };
    enum class End {
        done,
        halted,   ///< too many failures in a row
        stopped,  ///< by a signal
        broken,   ///< by a fault, which was reported
    };

    LineRun(Publisher& publisher, Workers& workers, RunListener& listener, const Options& options);
    [[nodiscard]] End run(DeviceSource& source);
    [[nodiscard]] const RunCounts& counts() const { return counts_; }

  private:
    void takeEvents();
    [[nodiscard]] End finishRun();
    void handOut();
    void submitMade();
    [[nodiscard]] qsizetype ahead();
    void submitRows(DeviceSource& source);
    void retryHeld();
    void interruptRest();
    [[nodiscard]] bool isQuiet() const;
    [[nodiscard]] bool isFinished() const;
    void wait(int descriptor);
    void takeResults(std::size_t worker);
    void take(LineEvent&& event);
    void countEnd(LineEvent::Kind kind, const QString& serial, const QString& reason);
    void countFailures(bool isProven);
    void stop(End end);

    Publisher& publisher_;
    Workers& workers_;
    RunListener& listener_;
    Options options_;
    RunCounts counts_;
    std::deque<DevicePlan> toMake_;
    QHash<quint64, DevicePlan> inProgress_;
    QList<MadeDevice> made_;
    QList<DeviceRow> held_;
    QElapsedTimer oldestMade_;
    QElapsedTimer lastProgress_;
    QElapsedTimer lastRetry_;
    QElapsedTimer rateStart_;
    qint64 inPublisher_ = 0;    // devices that are being committed
    int claims_ = 0;            // batches of rows that are being claimed
    qsizetype madeLately_ = 0;  // devices since rateStart_
    qsizetype madeBefore_ = 0;  // devices in the second before
    qint64 failuresInRow_ = 0;
    int retries_ = 0;
    bool isSourceAtEnd_ = false;
    bool waitsForSource_ = false;
    bool isStopping_ = false;
    End end_ = End::done;
};

}  // namespace produce
