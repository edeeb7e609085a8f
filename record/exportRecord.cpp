#include "record/exportRecord.h"

#include "record/RecordReader.h"

#include <QFile>
#include <QJsonArray>
#include <QStringList>

#include <functional>

namespace record {

namespace {

bool exportLines(const QString& path, QString& fault, const std::function<bool(const RecordReader&)>& exportLine) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        fault = QStringLiteral("The record %1 can't be opened: %2").arg(path, file.errorString());
        return false;
    }
    RecordReader reader(file);
    RecordReader::Next next = reader.next();
    for (; next == RecordReader::Next::line; next = reader.next()) {
        if (!exportLine(reader)) {
            fault = QStringLiteral("The export of the record %1 can't be written").arg(path);
            return false;
        }
    }
    if (next == RecordReader::Next::fault) {
        fault = QStringLiteral("Line %1: %2").arg(QString::number(reader.head().number + 1), reader.fault());
        return false;
    }
    return true;
}

// Whether a spreadsheet could read a field as a formula, by its first character. Some spreadsheets skip tabs and line
// breaks before a formula.
bool looksLikeFormula(const QString& field) {
    constexpr QStringView starts = u"=+-@\t\r\n";
    return !field.isEmpty() && starts.contains(field.front());
}

QByteArray rowOf(const QStringList& fields) {
    QByteArray row;
    for (const QString& field : fields) {
        QByteArray text = (looksLikeFormula(field) ? u'\'' + field : field).toUtf8();
        if (text.contains('"') || text.contains(',') || text.contains('\r') || text.contains('\n')) {
            text = '"' + text.replace('"', "\"\"") + '"';
        }
        row += (row.isEmpty() ? "" : ",") + text;
    }
    return row + "\r\n";
}

QString text(const QJsonObject& object, const char* member) {
    return object.value(QLatin1String(member)).toVariant().toString();
}

QByteArray rowsOf(const QJsonObject& line, const QString& verdict) {
    const QStringList device = {text(line, "time"),   text(line, "station"), text(line, "product"),
                                text(line, "serial"), text(line, "attempt"), verdict};
    const QString reason = text(line, "reason");
    QByteArray rows;
    for (const QJsonValue value : line.value(QLatin1String("steps")).toArray()) {
        const QJsonObject step = value.toObject();
        for (const QJsonValue file : step.value(QLatin1String("outputs")).toArray()) {
            const QJsonObject output = file.toObject();
            rows += rowOf(device + QStringList{text(step, "step"), text(output, "name"), text(output, "size"),
                                               text(output, "sha256"), reason});
        }
    }
    return rows.isEmpty() ? rowOf(device + QStringList{{}, {}, {}, {}, reason}) : rows;
}

}  // namespace

bool exportInToto(const QString& path, const PieceWriter& write, QString& fault) {
    return exportLines(path, fault, [&write](const RecordReader& reader) {
        return reader.kind() != QLatin1String("checkpoint") ||
               write(canonicalJson(reader.line().value(QLatin1String("envelope"))) + '\n');
    });
}

bool exportCsv(const QString& path, const PieceWriter& write, QString& fault) {
    if (!write("time,station,product,serial,attempt,verdict,step,output,size,sha256,reason\r\n")) {
        fault = QStringLiteral("The export of the record %1 can't be written").arg(path);
        return false;
    }
    return exportLines(path, fault, [&write](const RecordReader& reader) {
        if (reader.kind() == QLatin1String("device")) {
            return write(rowsOf(reader.line(), text(reader.line(), "verdict")));
        }
        return reader.kind() != QLatin1String("recall") || write(rowsOf(reader.line(), QStringLiteral("recalled")));
    });
}

}  // namespace record
