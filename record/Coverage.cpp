#include "record/Coverage.h"

namespace record {

namespace {

QJsonObject subject(const QString& name, const QString& sha256) {
    return {{QStringLiteral("digest"), QJsonObject{{QStringLiteral("sha256"), sha256}}},
            {QStringLiteral("name"), name}};
}

}  // namespace

void DeviceCounts::add(const QJsonObject& line) {
    if (line.value(QLatin1String("kind")).toString() != QLatin1String("device")) {
        return;
    }
    const QString verdict = line.value(QLatin1String("verdict")).toString();
    qint64& count = verdict == QLatin1String("proven")   ? proven
                    : verdict == QLatin1String("failed") ? failed
                                                         : interrupted;
    ++count;
}

QJsonObject DeviceCounts::toJson() const {
    return {{QStringLiteral("failed"), failed},
            {QStringLiteral("interrupted"), interrupted},
            {QStringLiteral("proven"), proven}};
}

void Coverage::add(const QJsonObject& line, const ChainHead& head, qint64 subjects) {
    firstLine = firstLine == 0 ? head.number : firstLine;
    last = head;
    devices.add(line);
    outputs += subjects;
}

QJsonObject Coverage::predicate(const QString& station, const QString& time) const {
    QJsonObject counts = devices.toJson();
    counts.insert(QStringLiteral("outputs"), outputs);
    return {{QStringLiteral("counts"), counts},
            {QStringLiteral("firstLine"), firstLine},
            {QStringLiteral("lastHash"), previousOf(last)},
            {QStringLiteral("lastLine"), last.number},
            {QStringLiteral("station"), station},
            {QStringLiteral("time"), time}};
}

QJsonObject Coverage::lineSubject() const {
    return subject(QStringLiteral("line %1").arg(last.number), previousOf(last));
}

QJsonArray subjectsOf(const QJsonObject& line) {
    QJsonArray subjects;
    if (line.value(QLatin1String("kind")).toString() != QLatin1String("device") ||
        line.value(QLatin1String("verdict")).toString() != QLatin1String("proven")) {
        return subjects;
    }
    const QString serial = line.value(QLatin1String("serial")).toString();
    for (const QJsonValue step : line.value(QLatin1String("steps")).toArray()) {
        for (const QJsonValue output : step.toObject().value(QLatin1String("outputs")).toArray()) {
            const QJsonObject file = output.toObject();
            subjects.append(subject(serial + u'/' + file.value(QLatin1String("name")).toString(),
                                    file.value(QLatin1String("sha256")).toString()));
        }
    }
    return subjects;
}

}  // namespace record
