#pragma once

#include "ledger/Ledger.h"
#include "produce/DevicePlan.h"
#include "produce/DeviceTable.h"
#include "produce/RecordFile.h"
#include "produce/preflight.h"
#include "produce/recordLines.h"
#include "record/StationKey.h"
#include "record/checkpoint.h"

#include <functional>
#include <vector>

namespace produce {

class LineFolders;

/// The values that don't change during a run.
struct Line {
    const ProductionJob& job;
    const JobKeys& keys;
    const SiteSecret& site;
    const LineFolders& folders;
    const record::StationKey& stationKey;
    LineContext context;
    QString ledgerPlace;
};

/// A device whose steps have ended, or won't run.
struct MadeDevice {
    DevicePlan plan;
    DeviceResult result;
    bool isInterrupted = false;  ///< the steps didn't run
    QString reason;              ///< empty if it is proven
};

/// A report of the ledger about a device.
struct LineEvent {
    enum class Kind {
        claimed,      ///< `plan` can be made
        proven,       ///< its proof is committed; with `wasBefore`, by an earlier run
        failed,       ///< its failure is committed
        refused,      ///< it wasn't claimed
        interrupted,  ///< its interruption is committed
        held,         ///< another station makes it
        checkpoint,
        unreachable,  ///< the ledger doesn't answer; the call is repeated
        reached,      ///< it answers again
        broken,       ///< the run can't continue
    };
    Kind kind = Kind::broken;
    DevicePlan plan;
    QString serial;
    QString text;
    bool wasBefore = false;
};

/// Makes all changes of a run to the ledger, the record and the folders of finished devices, in an order in which a
/// crash does no harm.
///
/// A claim is committed before anything is made. A device that was made is moved to its place, the disk is flushed, and
/// then its end and its line of the record are committed together. So after a crash an open claim means that the device
/// isn't proven, wherever its files are, and `open` moves them to `void`.
class LineLedger {
  public:
    using Report = std::function<void(LineEvent&& event)>;
    /// If the ledger doesn't answer, `goesOn` decides whether to try again.
    LineLedger(const Line& line, Report report, std::function<bool()> goesOn);

    /// Opens ledger and record, compares the ledger with its known head, ends the claims of an interrupted run, and
    /// begins the run in the record. `recovered` is the number of those claims.
    [[nodiscard]] bool open(qint64& recovered, QString& fault);

    // These report the result for each device. False if the run can't continue; `broken` was then reported.
    [[nodiscard]] bool claim(const QList<DeviceRow>& rows);
    [[nodiscard]] bool finish(QList<MadeDevice>& devices);
    /// Writes the end of the run and a checkpoint.
    [[nodiscard]] bool end();

  private:
    struct Batch;

    [[nodiscard]] bool call(const std::function<bool(ledger::Fault&)>& operation, QString& fault);
    [[nodiscard]] bool breakOff(const QString& text);
    [[nodiscard]] bool loadPending(QString& fault);
    [[nodiscard]] bool recover(qint64& recovered, QString& fault);
    [[nodiscard]] bool turnAway(const QString& serial, const QString& reason, QString& fault);
    [[nodiscard]] bool plan(const DeviceRow& row, DevicePlan& plan, bool& isPlanned, QString& fault);
    [[nodiscard]] bool claimPlans(QList<DevicePlan>& plans, QList<DevicePlan>& again);
    void reportClaim(DevicePlan& plan, const ledger::ClaimResult& result, QList<DevicePlan>& again);
    [[nodiscard]] bool place(const MadeDevice& device, QString& fault) const;
    void addCheckpoint(Batch& batch);
    [[nodiscard]] bool commit(Batch& batch, std::vector<char>& isFinal, QString& fault);
    [[nodiscard]] bool commitDevices(QList<MadeDevice>& devices, QString& fault);

    const Line& line_;
    Report report_;
    std::function<bool()> goesOn_;
    ledger::Ledger ledger_;
    ledger::Head head_;
    RecordFile recordFile_;
    RowCheck check_;
    record::Pending pending_;
    record::DeviceCounts devices_;  ///< counts of this run's device lines
    NonceSource nonces_;
    quint64 lastId_ = 0;
    bool isUnreachable_ = false;
};

}  // namespace produce
