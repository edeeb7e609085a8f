#include "record/RecordReader.h"

#include "record/lineForm.h"

namespace record {

RecordReader::Next RecordReader::failed(const QString& fault) {
    fault_ = fault;
    return Next::fault;
}

RecordReader::Next RecordReader::next() {
    QByteArrayView text;
    switch (lines_.next(text)) {
        case LineReader::Next::line:
            return take(text);
        case LineReader::Next::end:
            return Next::end;
        case LineReader::Next::torn:
            isTorn_ = true;
            return failed(QStringLiteral("the line has no line break at its end; its writing was interrupted"));
        case LineReader::Next::tooLong:
            return failed(QStringLiteral("the line has more than %1 bytes").arg(mostLineBytes));
        case LineReader::Next::failed:
            break;
    }
    return failed(QStringLiteral("the line can't be read"));
}

RecordReader::Next RecordReader::take(QByteArrayView text) {
    QJsonObject line;
    QString reason;
    if (!parseCanonicalJson(text, line, reason)) {
        return failed(QStringLiteral("the line %1").arg(reason));
    }
    const qint64 number = head_.number + 1;
    if (line.value(QLatin1String("number")) != QJsonValue(number)) {
        return failed(QStringLiteral("\"number\" isn't %1; a line was removed, inserted or moved").arg(number));
    }
    if (line.value(QLatin1String("previous")) != QJsonValue(previousOf(head_))) {
        return failed(QStringLiteral("\"previous\" isn't the hash of the line before, %1; one of both was changed")
                          .arg(previousOf(head_)));
    }
    const QString fault = lineFault(line);
    if (!fault.isEmpty()) {
        return failed(fault);
    }
    const QString kind = line.value(QLatin1String("kind")).toString();
    if (kind != QLatin1String("checkpoint")) {
        const QString station = line.value(QLatin1String("station")).toString();
        if (!station_.isEmpty() && station != station_) {
            return failed(
                QStringLiteral("the station is \"%1\", but that of earlier lines is \"%2\"").arg(station, station_));
        }
        station_ = station;
    }
    if (!advance(head_, text)) {
        return failed(QStringLiteral("the hash of the line can't be computed"));
    }
    line_ = line;
    kind_ = kind;
    return Next::line;
}

}  // namespace record
