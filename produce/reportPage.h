#pragma once

#include "produce/statusDocument.h"

namespace produce {

/// The report of a ledger as one HTML page in UTF-8. It loads nothing and has no script, so it can be sent by mail and
/// opened anywhere. All texts of the ledger are escaped. Times are UTC.
[[nodiscard]] QByteArray reportPage(const ledger::Summary& summary, const ReportHead& head);

/// A round number from 1 on: the distance between the lines of a chart with the highest value `most`. There are at most
/// five such distances up to that value.
[[nodiscard]] qint64 chartStep(qint64 most);

/// A length of time, such as "12 min" or "1.5 h".
[[nodiscard]] QString lengthText(qint64 milliseconds);

}  // namespace produce
