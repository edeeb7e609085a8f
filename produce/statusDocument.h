#pragma once

#include <QByteArray>
#include <QString>

namespace ledger {
struct Summary;
}  // namespace ledger

namespace produce {

/// The ledger and the moment that a report is about.
struct ReportHead {
    QString ledger;   ///< the place of the ledger, without a password
    qint64 time = 0;  ///< milliseconds since 1970-01-01 UTC, like all times of a summary
};

/// The summary as one line of canonical JSON (docs/produce-status.schema.json). Empty if the ledger has a number that
/// JSON can't keep exactly, which no sound ledger has.
[[nodiscard]] QByteArray statusDocument(const ledger::Summary& summary, const ReportHead& head);

/// The time in the form 2026-01-31T23:59:59.999Z; empty for 0, which means never, and outside of the years 1970 to
/// 9999.
[[nodiscard]] QString isoTime(qint64 time);

/// The time to the second for a human reader, "never" for 0, "unknown" for a time without a form.
[[nodiscard]] QString plainTime(qint64 time);

}  // namespace produce
