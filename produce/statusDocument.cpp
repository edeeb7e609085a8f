#include "produce/statusDocument.h"

#include "ledger/Summary.h"
#include "record/canonicalJson.h"
#include "record/lineForm.h"

#include <QDateTime>
#include <QJsonArray>

namespace produce {

namespace {

constexpr int version = 1;
constexpr qint64 endOfYear9999 = 253402300800000;

QJsonValue timeValue(qint64 time) {
    const QString text = isoTime(time);
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

QJsonArray productsOf(const ledger::Summary& summary) {
    QJsonArray array;
    for (const ledger::Summary::Product& product : summary.products) {
        array.append(QJsonObject{{QStringLiteral("name"), product.name},
                                 {QStringLiteral("proven"), product.proven},
                                 {QStringLiteral("failed"), product.failed},
                                 {QStringLiteral("interrupted"), product.interrupted},
                                 {QStringLiteral("open"), product.open},
                                 {QStringLiteral("recalled"), product.recalled}});
    }
    return array;
}

QJsonArray failuresOf(const ledger::Summary& summary) {
    QJsonArray array;
    for (const ledger::Summary::Trouble& trouble : summary.troubles) {
        array.append(QJsonObject{{QStringLiteral("product"), trouble.product},
                                 {QStringLiteral("serial"), trouble.serial},
                                 {QStringLiteral("failures"), trouble.failures},
                                 {QStringLiteral("reason"), trouble.reason},
                                 {QStringLiteral("time"), timeValue(trouble.time)}});
    }
    return array;
}

QJsonArray intervalsOf(const ledger::Summary& summary) {
    QJsonArray array;
    for (const ledger::Summary::Bucket& bucket : summary.outcomes) {
        array.append(QJsonObject{{QStringLiteral("start"), timeValue(bucket.start)},
                                 {QStringLiteral("proven"), bucket.proven},
                                 {QStringLiteral("failed"), bucket.failed},
                                 {QStringLiteral("interrupted"), bucket.interrupted},
                                 {QStringLiteral("recalled"), bucket.recalled}});
    }
    return array;
}

QJsonArray keysOf(const ledger::Summary& summary) {
    QJsonArray array;
    for (const ledger::Summary::Key& key : summary.keys) {
        array.append(QJsonObject{{QStringLiteral("fingerprint"), QString::fromLatin1(key.fingerprint.toHex())},
                                 {QStringLiteral("label"), key.label},
                                 {QStringLiteral("source"), key.source},
                                 {QStringLiteral("retired"), key.isRetired},
                                 {QStringLiteral("firstUse"), timeValue(key.firstUse)},
                                 {QStringLiteral("ivs"), key.ivs}});
    }
    return array;
}

QJsonArray epochsOf(const ledger::Summary& summary) {
    QJsonArray array;
    for (const ledger::Summary::Epoch& epoch : summary.epochs) {
        array.append(QJsonObject{{QStringLiteral("number"), epoch.number},
                                 {QStringLiteral("id"), QString::fromLatin1(epoch.id.toHex())},
                                 {QStringLiteral("replaced"), QString::fromLatin1(epoch.replaced.toHex())},
                                 {QStringLiteral("time"), timeValue(epoch.time)}});
    }
    return array;
}

QJsonArray stationsOf(const ledger::Summary& summary) {
    QJsonArray array;
    for (const ledger::Summary::Station& station : summary.stations) {
        array.append(QJsonObject{{QStringLiteral("name"), station.name},
                                 {QStringLiteral("since"), timeValue(station.since)},
                                 {QStringLiteral("claims"), station.claims},
                                 {QStringLiteral("leases"), station.leases},
                                 {QStringLiteral("lastLine"), station.records},
                                 {QStringLiteral("lastLineTime"), timeValue(station.recordTime)},
                                 {QStringLiteral("checkpoint"), station.checkpoint}});
    }
    return array;
}

}  // namespace

QByteArray statusDocument(const ledger::Summary& summary, const ReportHead& head) {
    return record::canonicalJson(QJsonObject{{QStringLiteral("version"), version},
                                             {QStringLiteral("ledger"), head.ledger},
                                             {QStringLiteral("time"), timeValue(head.time)},
                                             {QStringLiteral("products"), productsOf(summary)},
                                             {QStringLiteral("failures"), failuresOf(summary)},
                                             {QStringLiteral("failedDevices"), summary.troubleCount},
                                             {QStringLiteral("intervalLength"), summary.bucketLength},
                                             {QStringLiteral("intervals"), intervalsOf(summary)},
                                             {QStringLiteral("keys"), keysOf(summary)},
                                             {QStringLiteral("epochs"), epochsOf(summary)},
                                             {QStringLiteral("stations"), stationsOf(summary)}});
}

QString isoTime(qint64 time) {
    return time > 0 && time < endOfYear9999 ? record::timeText(QDateTime::fromMSecsSinceEpoch(time, Qt::UTC))
                                            : QString();
}

QString plainTime(qint64 time) {
    const QString text = isoTime(time);
    return time == 0        ? QStringLiteral("never")
           : text.isEmpty() ? QStringLiteral("unknown")
                            : text.left(10) + u' ' + text.mid(11, 8) + QStringLiteral(" UTC");
}

}  // namespace produce
