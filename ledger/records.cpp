#include "ledger/records.h"

#include "Preparation/primitives/Sha256.h"
#include "ledger/Connection.h"
#include "ledger/faults.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace ledger {
namespace {

constexpr Target recordTarget{"record", "station, number, hash, line, checkpoint, call, at_ms", "tibtibi"};
constexpr Query lastNumber{
    "SELECT {i}, coalesce((SELECT max(r.number) FROM record r WHERE r.station = t.a1), 0) FROM {t}", "t"};
constexpr qsizetype hashSize = 32;

bool checkLine(const RecordRow& row, qint64 expected, Fault& fault) {
    const QString number = QString::number(row.number);
    if (row.number != expected) {
        return failed(QStringLiteral("line %1 of the record doesn't continue it; the next line is %2")
                          .arg(number, QString::number(expected)),
                      fault);
    }
    Sha256Digest digest{};
    if (!sha256({row.line}, digest) || row.hash.size() != hashSize ||
        row.hash != QByteArrayView(digest.data(), digest.size())) {
        return failed(QStringLiteral("line %1 of the record doesn't have its hash").arg(number), fault);
    }
    if (!row.line.isValidUtf8() || row.line.contains('\0') || row.line.contains('\n')) {
        return failed(QStringLiteral("line %1 of the record isn't one line of UTF-8").arg(number), fault);
    }
    return true;
}

// The search for the member excludes most lines, so that they needn't be parsed.
bool isCheckpoint(const QByteArray& line) {
    return line.contains("\"kind\":\"checkpoint\"") &&
           QJsonDocument::fromJson(line).object().value(QLatin1String("kind")) == QLatin1String("checkpoint");
}

}  // namespace

bool insertRecords(Connection& connection, const QByteArray& call, std::span<const RecordRow> lines, Fault& fault) {
    if (lines.empty()) {
        return true;
    }
    QList<Row> last;
    if (!connection.select(lastNumber, {{connection.station()}}, last, fault)) {
        return false;
    }
    qint64 number = last.value(0).value(1).toLongLong();
    const qint64 time = now();
    QList<Row> rows;
    for (const RecordRow& line : lines) {
        if (!checkLine(line, ++number, fault)) {
            return false;
        }
        rows += Row{connection.station(),
                    line.number,
                    line.hash,
                    QString::fromUtf8(line.line),
                    isCheckpoint(line.line) ? 1 : 0,
                    call,
                    time};
    }
    qint64 added = 0;
    if (!connection.insert(recordTarget, rows, added, fault)) {
        return false;
    }
    // Only the holder of the station's lock adds lines.
    return added == rows.size() ||
           refused(QStringLiteral("another process writes the record of the station %1").arg(connection.station()),
                   fault);
}

void appendArgument(const QByteArray& value, QByteArray& arguments) {
    arguments += QByteArray::number(value.size()) + ':' + value;
}

void appendArgument(const QString& value, QByteArray& arguments) {
    appendArgument(value.toUtf8(), arguments);
}

void appendArgument(qint64 value, QByteArray& arguments) {
    appendArgument(QByteArray::number(value), arguments);
}

void appendArgument(std::span<const RecordRow> lines, QByteArray& arguments) {
    for (const RecordRow& line : lines) {
        appendArgument(line.number, arguments);
        appendArgument(line.hash, arguments);
    }
}

}  // namespace ledger
