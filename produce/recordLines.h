#pragma once

#include "produce/DevicePlan.h"
#include "produce/DeviceTask.h"
#include "record/Coverage.h"

#include <QJsonObject>
#include <QString>

namespace produce {

class SiteSecret;

/// The members that all lines of a run have in common.
struct LineContext {
    QString station;
    QString product;
    QByteArray jobDigest;
    QJsonObject versions;  ///< of the programs
};

[[nodiscard]] QJsonObject startLine(const LineContext& context);
[[nodiscard]] QJsonObject endLine(const LineContext& context, const record::DeviceCounts& devices);

/// A device whose steps ran. Digests of secrets are replaced by fingerprints, since a digest confirms guesses.
[[nodiscard]] QJsonObject deviceLine(const LineContext& context, const DevicePlan& plan, const DeviceResult& result,
                                     const QString& reason, const SiteSecret& site);

/// An attempt that was interrupted, before its steps ran or by a crash.
[[nodiscard]] QJsonObject interruptedLine(const LineContext& context, const ledger::Attempt& attempt,
                                          const QString& reason);

[[nodiscard]] QJsonObject recallLine(const QString& station, const ledger::Attempt& attempt, const QString& reason);
[[nodiscard]] QJsonObject retireLine(const QString& station, const QByteArray& fingerprint);
[[nodiscard]] QJsonObject epochLine(const QString& station, const QByteArray& epoch, const QByteArray& replaced,
                                    const QString& reason);
[[nodiscard]] QJsonObject importLine(const QString& station, const QList<ledger::IvUse>& ivs, const QString& origin);

/// The current time in the form of a record's line.
[[nodiscard]] QString timeOfNow();

}  // namespace produce
