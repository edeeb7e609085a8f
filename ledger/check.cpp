#include "Preparation/primitives/Sha256.h"
#include "ledger/Connection.h"
#include "ledger/Ledger.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <array>

namespace ledger {
namespace {

constexpr qsizetype mostFindings = 100;
constexpr qint64 recordBatch = 1000;

// A rule between tables: a query of the rows that break it, and the sentence about each. %1 and so on are the columns
// after the first.
struct Rule {
    Query query;
    const char* finding;
};

constexpr std::array rules = {
    Rule{{"SELECT 0, c.product, c.serial, c.attempt FROM claim c "
          "LEFT JOIN claim p ON p.product = c.product AND p.serial = c.serial AND p.attempt = c.attempt - 1 "
          "WHERE c.attempt > 1 AND p.attempt IS NULL ORDER BY 2, 3, 4 LIMIT 100",
          ""},
         "%1, %2: attempt %3 has no attempt before it."},
    Rule{{"SELECT 0, c.product, c.serial, c.attempt FROM claim c "
          "LEFT JOIN outcome o ON o.product = c.product AND o.serial = c.serial AND o.attempt = c.attempt - 1 "
          "LEFT JOIN recall r ON r.product = c.product AND r.serial = c.serial AND r.attempt = c.attempt - 1 "
          "WHERE c.attempt > 1 AND (o.kind IS NULL OR (o.kind = 'proven' AND r.reason IS NULL)) ORDER BY 2, 3, 4 LIMIT "
          "100",
          ""},
         "%1, %2: attempt %3 began although the attempt before it was open or proven."},
    Rule{{"SELECT 0, r.product, r.serial, r.attempt FROM recall r "
          "JOIN outcome o ON o.product = r.product AND o.serial = r.serial AND o.attempt = r.attempt "
          "WHERE o.kind <> 'proven' ORDER BY 2, 3, 4 LIMIT 100",
          ""},
         "%1, %2: attempt %3 was recalled, but it isn't proven."},
    Rule{{"SELECT 0, station, count(*), max(number) FROM claim GROUP BY station HAVING count(*) <> max(number) LIMIT "
          "100",
          ""},
         "Station %1 has %2 claims, but the last one has the number %3."},
    Rule{{"SELECT 0, s.station, s.number, c.product, c.serial FROM settled s "
          "JOIN claim c ON c.station = s.station AND c.number <= s.number "
          "LEFT JOIN outcome o ON o.product = c.product AND o.serial = c.serial AND o.attempt = c.attempt "
          "WHERE o.kind IS NULL ORDER BY 2, 4, 5 LIMIT 100",
          ""},
         "Station %1 counts its claims up to %2 as ended, but %3, %4 is open."},
    Rule{
        {"SELECT 0, l.epoch, l.block FROM lease l LEFT JOIN lease p ON p.epoch = l.epoch AND p.block = l.block - 1 "
         "WHERE l.first <> coalesce(p.first + p.count, 0) OR (p.block IS NULL AND l.block > 1) ORDER BY 2, 3 LIMIT 100",
         ""},
        "Epoch %1: block %2 of nonces doesn't begin where the block before it ends."},
    Rule{{"SELECT 0, count(*), max(number) FROM epoch HAVING count(*) <> coalesce(max(number), 0) OR count(*) = 0", ""},
         "There are %1 epochs, but the last one has the number %2."},
};

class Checking {
  public:
    Checking(Connection& connection, QStringList& findings) : connection_(connection), findings_(findings) {}

    [[nodiscard]] bool run(Fault& fault) {
        return (connection_.dialect() == Dialect::postgres || checkFile(fault)) && checkRules(fault) &&
               checkRecords(fault);
    }

  private:
    void add(const QString& finding) {
        if (findings_.size() < mostFindings) {
            findings_ += finding;
        }
    }

    bool checkFile(Fault& fault) {
        constexpr Query integrity{"SELECT 0, integrity_check FROM pragma_integrity_check(100)", ""};
        constexpr Query foreignKeys{"SELECT 0, \"table\", parent FROM pragma_foreign_key_check LIMIT 100", ""};
        QList<Row> rows;
        if (!connection_.select(integrity, {}, rows, fault)) {
            return false;
        }
        for (const Row& row : rows) {
            const QString text = row.value(1).toString();
            if (text != QLatin1String("ok")) {
                add(QStringLiteral("The file is damaged: %1.").arg(text.simplified()));
            }
        }
        if (!connection_.select(foreignKeys, {}, rows, fault)) {
            return false;
        }
        for (const Row& row : rows) {
            add(QStringLiteral("A row of the table %1 names a row of %2 that doesn't exist.")
                    .arg(row.value(1).toString(), row.value(2).toString()));
        }
        return true;
    }

    bool checkRules(Fault& fault) {
        for (const Rule& rule : rules) {
            QList<Row> rows;
            if (!connection_.select(rule.query, {}, rows, fault)) {
                return false;
            }
            for (const Row& row : rows) {
                QString finding = QString::fromLatin1(rule.finding);
                // Replaces the last placeholder first, so that a "%1" in a serial isn't taken for one.
                for (qsizetype column = row.size() - 1; column > 0; --column) {
                    finding.replace(u'%' + QString::number(column), row.at(column).toString());
                }
                add(finding);
            }
        }
        return true;
    }

    bool checkRecords(Fault& fault) {
        constexpr Query stations{"SELECT 0, name FROM station ORDER BY name", ""};
        QList<Row> names;
        if (!connection_.select(stations, {}, names, fault)) {
            return false;
        }
        for (const Row& name : names) {
            if (!checkRecord(name.value(1).toString(), fault)) {
                return false;
            }
        }
        return true;
    }

    bool checkRecord(const QString& station, Fault& fault) {
        constexpr Query lines{
            "SELECT {i}, r.number, r.hash, r.line FROM {t} JOIN record r ON r.station = t.a1 AND r.number > t.a2 "
            "ORDER BY r.number LIMIT 1000",
            "ti"};
        qint64 number = 0;
        QByteArray previous(32, '\0');
        QList<Row> rows;
        do {
            if (!connection_.select(lines, {{station, number}}, rows, fault)) {
                return false;
            }
            for (const Row& row : rows) {
                const qint64 expected = number + 1;
                number = row.value(1).toLongLong();
                if (number != expected) {
                    add(QStringLiteral("Station %1: line %2 of the record is missing.")
                            .arg(station, QString::number(expected)));
                }
                checkLine(station, row, previous);
                previous = row.value(2).toByteArray();
            }
        } while (rows.size() == recordBatch);
        return true;
    }

    void checkLine(const QString& station, const Row& row, const QByteArray& previous) {
        const QByteArray line = row.value(3).toString().toUtf8();
        Sha256Digest digest{};
        if (!sha256({line}, digest) || row.value(2).toByteArray() != QByteArrayView(digest.data(), digest.size())) {
            add(QStringLiteral("Station %1: line %2 of the record doesn't have its hash.")
                    .arg(station, row.value(1).toString()));
        }
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        if (object.value(QLatin1String("number")).toInteger(-1) != row.value(1).toLongLong() ||
            object.value(QLatin1String("previous")).toString() != QLatin1String(previous.toHex())) {
            add(QStringLiteral("Station %1: line %2 of the record isn't chained to the line before it.")
                    .arg(station, row.value(1).toString()));
        }
    }

    Connection& connection_;
    QStringList& findings_;
};

}  // namespace

bool Ledger::check(QStringList& findings, Fault& fault) {
    QStringList found;
    const auto body = [&](Fault& problem) { return Checking(*connection_, found).run(problem); };
    if (!isOpen(fault) || !connection_->read(body, fault)) {
        return false;
    }
    findings = found;
    return true;
}

}  // namespace ledger
