#include "ledger/Summary.h"

#include "ledger/Connection.h"
#include "ledger/Ledger.h"

#include <QHash>

#include <algorithm>

namespace ledger {
namespace {

constexpr Query productCounts{
    "SELECT 0, c.product, "
    "sum(CASE WHEN o.kind = 'proven' AND r.reason IS NULL THEN 1 ELSE 0 END), "
    "sum(CASE WHEN o.kind = 'failed' THEN 1 ELSE 0 END), "
    "sum(CASE WHEN o.kind = 'interrupted' THEN 1 ELSE 0 END), "
    "sum(CASE WHEN o.kind IS NULL THEN 1 ELSE 0 END), "
    "sum(CASE WHEN o.kind = 'recalled' OR r.reason IS NOT NULL THEN 1 ELSE 0 END) "
    "FROM claim c "
    "LEFT JOIN outcome o ON o.product = c.product AND o.serial = c.serial AND o.attempt = c.attempt "
    "LEFT JOIN recall r ON r.product = c.product AND r.serial = c.serial AND r.attempt = c.attempt "
    "GROUP BY c.product ORDER BY c.product",
    ""};
constexpr Query troubleRows{
    "SELECT 0, f.product, f.serial, f.failures, o.reason, o.at_ms FROM "
    "(SELECT product, serial, count(*) AS failures, max(attempt) AS attempt FROM outcome WHERE kind = 'failed' "
    "GROUP BY product, serial) AS f "
    "JOIN outcome o ON o.product = f.product AND o.serial = f.serial AND o.attempt = f.attempt "
    "ORDER BY o.at_ms DESC, f.product, f.serial LIMIT 1000",
    ""};
constexpr Query troubleCount{
    "SELECT 0, count(*) FROM (SELECT DISTINCT product, serial FROM outcome WHERE kind = 'failed') AS f", ""};
constexpr Query span{"SELECT 0, min(at_ms), max(at_ms) FROM outcome", ""};
constexpr Query outcomeCounts{
    "SELECT {i}, (o.at_ms - t.a1) / t.a2, o.kind, count(*) FROM {t} JOIN outcome o ON o.at_ms >= t.a1 GROUP BY 1, 2, 3",
    "ii"};
constexpr Query keyRows{
    "SELECT 0, u.fingerprint, k.label, k.source, s.state, v.first_use, coalesce(v.ivs, 0) FROM "
    "(SELECT fingerprint FROM key UNION SELECT fingerprint FROM iv) AS u "
    "LEFT JOIN key k ON k.fingerprint = u.fingerprint "
    "LEFT JOIN key_state s ON s.fingerprint = u.fingerprint "
    "LEFT JOIN (SELECT iv.fingerprint AS fingerprint, count(*) AS ivs, min(coalesce(c.at_ms, l.at_ms)) AS first_use "
    "FROM iv LEFT JOIN claim c ON c.product = iv.product AND c.serial = iv.serial AND c.attempt = iv.attempt "
    "LEFT JOIN call l ON l.id = iv.import GROUP BY iv.fingerprint) AS v ON v.fingerprint = u.fingerprint "
    "ORDER BY k.label IS NULL, k.label, u.fingerprint LIMIT 1000",
    ""};
constexpr Query epochRows{"SELECT 0, number, id, replaced, at_ms FROM epoch ORDER BY number", ""};
constexpr Query stationRows{
    "SELECT 0, s.name, s.at_ms, "
    "coalesce((SELECT max(c.number) FROM claim c WHERE c.station = s.name), 0), "
    "(SELECT count(*) FROM lease l WHERE l.station = s.name), r.number, r.at_ms, "
    "(SELECT max(p.number) FROM record p WHERE p.station = s.name AND p.checkpoint = 1) "
    "FROM station s LEFT JOIN record r ON r.station = s.name "
    "AND r.number = (SELECT max(m.number) FROM record m WHERE m.station = s.name) ORDER BY s.name",
    ""};

class Summing {
  public:
    Summing(Connection& connection, Summary& summary) : connection_(connection), summary_(summary) {}

    [[nodiscard]] bool run(Fault& fault) {
        return readProducts(fault) && readTroubles(fault) && readOutcomes(fault) && readKeys(fault) &&
               readStations(fault);
    }

  private:
    bool readProducts(Fault& fault) {
        QList<Row> rows;
        if (!connection_.select(productCounts, {}, rows, fault)) {
            return false;
        }
        for (const Row& row : rows) {
            summary_.products += {row.value(1).toString(),   row.value(2).toLongLong(), row.value(3).toLongLong(),
                                  row.value(4).toLongLong(), row.value(5).toLongLong(), row.value(6).toLongLong()};
        }
        return true;
    }

    bool readTroubles(Fault& fault) {
        QList<Row> rows;
        QList<Row> count;
        if (!connection_.select(troubleRows, {}, rows, fault) || !connection_.select(troubleCount, {}, count, fault)) {
            return false;
        }
        for (const Row& row : rows) {
            summary_.troubles += {row.value(1).toString(), row.value(2).toString(), row.value(3).toLongLong(),
                                  row.value(4).toString(), row.value(5).toLongLong()};
        }
        summary_.troubleCount = count.value(0).value(1).toLongLong();
        return true;
    }

    bool readOutcomes(Fault& fault) {
        QList<Row> limits;
        if (!connection_.select(span, {}, limits, fault)) {
            return false;
        }
        const Row row = limits.value(0);
        if (row.value(1).isNull()) {
            return true;
        }
        const qint64 first = row.value(1).toLongLong();
        // A damaged time may be any number, so the difference is taken without a sign.
        const std::uint64_t length =
            static_cast<std::uint64_t>(row.value(2).toLongLong()) - static_cast<std::uint64_t>(first);
        summary_.bucketLength = static_cast<qint64>(length / Summary::buckets) + 1;
        QList<Row> rows;
        if (!connection_.select(outcomeCounts, {{first, summary_.bucketLength}}, rows, fault)) {
            return false;
        }
        for (const Row& counted : rows) {
            addOutcomes(first, counted);
        }
        return true;
    }

    void addOutcomes(qint64 first, const Row& row) {
        const qint64 index = row.value(1).toLongLong();
        if (index < 0 || index >= Summary::buckets) {
            return;
        }
        while (summary_.outcomes.size() <= index) {
            Summary::Bucket bucket;
            // The numbers have no sign, because the product overflows if the times are damaged.
            bucket.start = static_cast<qint64>(static_cast<std::uint64_t>(first) +
                                               static_cast<std::uint64_t>(summary_.outcomes.size()) *
                                                   static_cast<std::uint64_t>(summary_.bucketLength));
            summary_.outcomes += bucket;
        }
        const QString kind = row.value(2).toString();
        Summary::Bucket& bucket = summary_.outcomes[index];
        const qint64 count = row.value(3).toLongLong();
        bucket.proven += kind == QLatin1String("proven") ? count : 0;
        bucket.failed += kind == QLatin1String("failed") ? count : 0;
        bucket.interrupted += kind == QLatin1String("interrupted") ? count : 0;
        bucket.recalled += kind == QLatin1String("recalled") ? count : 0;
    }

    bool readKeys(Fault& fault) {
        QList<Row> rows;
        if (!connection_.select(keyRows, {}, rows, fault)) {
            return false;
        }
        for (const Row& row : rows) {
            summary_.keys += {row.value(1).toByteArray(), row.value(2).toString(),   row.value(3).toString(),
                              !row.value(4).isNull(),     row.value(5).toLongLong(), row.value(6).toLongLong()};
        }
        return true;
    }

    bool readStations(Fault& fault) {
        QList<Row> rows;
        if (!connection_.select(epochRows, {}, rows, fault)) {
            return false;
        }
        for (const Row& row : rows) {
            summary_.epochs += {row.value(1).toLongLong(), row.value(2).toByteArray(), row.value(3).toByteArray(),
                                row.value(4).toLongLong()};
        }
        if (!connection_.select(stationRows, {}, rows, fault)) {
            return false;
        }
        for (const Row& row : rows) {
            summary_.stations += {row.value(1).toString(),   row.value(2).toLongLong(), row.value(3).toLongLong(),
                                  row.value(4).toLongLong(), row.value(5).toLongLong(), row.value(6).toLongLong(),
                                  row.value(7).toLongLong()};
        }
        return true;
    }

    Connection& connection_;
    Summary& summary_;
};

}  // namespace

bool Ledger::summary(Summary& result, Fault& fault) {
    Summary read;
    const auto body = [&](Fault& problem) { return Summing(*connection_, read).run(problem); };
    if (!isOpen(fault) || !connection_->read(body, fault)) {
        return false;
    }
    result = read;
    return true;
}

}  // namespace ledger
