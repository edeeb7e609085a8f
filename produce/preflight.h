#pragma once

#include "produce/DeviceTable.h"
#include "produce/ProductionJob.h"

#include <memory>

namespace produce {

/// One thing that the user should know before a run.
struct Finding {
    enum class Severity { warning, fault };
    Severity severity = Severity::fault;
    QString file;       ///< the job file, the table or the folder
    qint64 line = 0;    ///< from 1; 0: the text names the place
    qint64 column = 0;  ///< from 1, in characters; 0: the whole line
    QString text;
};

/// "FILE:LINE:COLUMN: TEXT", with as much of the place as the finding has.
[[nodiscard]] QString printed(const Finding& finding);

struct PreflightOptions {
    QString table;                ///< path of the device table; empty or "-": only what all devices share is checked
    QString outputFolder;         ///< exists
    qsizetype mostFindings = 20;  ///< how many findings of each severity are kept
};

/// The counts of the preflight.
struct Totals {
    qint64 devices = 0;
    qint64 faults = 0;
    qint64 warnings = 0;
    qint64 bytesNeeded = 0;  ///< generous estimate for all devices
    qint64 bytesFree = 0;
};

/// Checks everything that can be known before anything is made: every field of every step by the checks of the jobs,
/// files and keys, all rows of the table, and the room on the disk. Returns whether there is no fault. Nothing is
/// written, no pipe is read.
[[nodiscard]] bool preflight(const ProductionJob& job, const PreflightOptions& options, QList<Finding>& findings,
                             Totals& totals);

/// Checks single rows by the same checks, at the moment when their devices are about to be claimed: rows of a pipe and
/// requests were in no table before, and the files of a table's row may have changed since.
class RowCheck {
  public:
    /// The folder exists. The job must outlive this.
    RowCheck(const ProductionJob& job, const QString& outputFolder);
    ~RowCheck();
    RowCheck(const RowCheck&) = delete;
    RowCheck& operator=(const RowCheck&) = delete;

    /// The first fault of a row, with the path of its member in the job; empty if there is none.
    [[nodiscard]] QString fault(const DeviceRow& row);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace produce
