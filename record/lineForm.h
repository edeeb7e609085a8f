#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>

namespace record {

/// The form of a time in a record: UTC with milliseconds, "2026-11-26T06:00:00.123Z".
[[nodiscard]] QString timeText(const QDateTime& time);

/// Checks the members of a line against the table of its kind, which docs/record.schema.json repeats. The result is
/// empty if all is well, otherwise the first fault. Ignores the members of the chain, so that the writer can check a
/// line before it is chained.
[[nodiscard]] QString lineFault(const QJsonObject& line);

/// The same for the statement in a checkpoint.
[[nodiscard]] QString statementFault(const QJsonObject& statement);

/// The types in an envelope and its statement.
inline constexpr char payloadType[] = "application/vnd.in-toto+json";
inline constexpr char statementType[] = "https://in-toto.io/Statement/v1";
inline constexpr char predicateType[] = "https://qvora.invalid/production-record/v1";

}  // namespace record
