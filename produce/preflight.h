#pragma once

#include "produce/ProductionJob.h"

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
    qsizetype mostFindings = 20;  ///< of each severity that are kept
};

/// What the preflight counted.
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

}  // namespace produce
