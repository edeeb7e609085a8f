#pragma once

#include "calls/Call.h"
#include "produce/LineFolders.h"
#include "produce/LineRun.h"
#include "produce/siteKeys.h"
#include "produce/worker.h"

#include <QCoreApplication>

#include <memory>
#include <optional>

namespace produce {

/// Everything that a run needs: the job, keys, workers, the ledger and the folders.
class LineSession {
  public:
    LineSession() = default;
    ~LineSession();
    LineSession(const LineSession&) = delete;
    LineSession& operator=(const LineSession&) = delete;

    /// Opens all of it, in an order in which workers inherit nothing but the keys. False if there is a fault. All
    /// faults were then printed, and no device was begun. `table` may be empty.
    [[nodiscard]] bool open(const calls::Call& call, const QString& table, int mostWorkers);

    /// The devices in the table; -1 if they can't be counted before the run.
    [[nodiscard]] qint64 total() const { return total_; }
    [[nodiscard]] qint64 recovered() const { return recovered_; }
    [[nodiscard]] const ProductionJob& job() const { return making_.job; }
    [[nodiscard]] const QString& station() const { return station_; }

    /// Makes all devices of `source`. Returns the status.
    [[nodiscard]] int make(DeviceSource& source, RunListener& listener, qint64 haltAfter, RunCounts& counts);

  private:
    [[nodiscard]] bool readJob(const calls::Call& call, int mostWorkers);
    [[nodiscard]] bool check(const QString& table);
    [[nodiscard]] bool openLedger(const calls::Call& call);

    Making making_;
    JobKeys keys_;
    Workers workers_;
    std::unique_ptr<QCoreApplication> application_;
    SiteSecret site_;
    LineFolders folders_;
    record::StationKey stationKey_;
    QString station_;
    std::unique_ptr<Line> line_;
    std::unique_ptr<Publisher> publisher_;
    bool isShared_ = false;
    qint64 total_ = -1;
    qint64 recovered_ = 0;
};

/// Whether the ledger is on a server, which several stations use.
[[nodiscard]] bool isServer(const QString& ledgerPlace);

/// The path in an option, or the ledger's path with `ending`. Empty, with a fault, if a ledger on a server needs the
/// option.
[[nodiscard]] QString fileBeside(const calls::Call& call, const char* option, const char* ending, QString& fault);

/// The name of the station. Empty, with a fault, if a folder can't have this name.
[[nodiscard]] QString stationOf(const calls::Call& call, QString& fault);

}  // namespace produce
