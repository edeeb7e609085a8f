#include "record/checkpoint.h"

#include "record/envelope.h"
#include "record/lineForm.h"

namespace record {

void Pending::add(const QJsonObject& line, const ChainHead& head) {
    if (line.value(QLatin1String("kind")).toString() == QLatin1String("checkpoint")) {
        *this = {};
        return;
    }
    const QJsonArray subjects = subjectsOf(line);
    coverage_.add(line, head, subjects.size());
    for (const QJsonValue subject : subjects) {
        subjects_.append(subject);
    }
}

bool Pending::takeCheckpoint(const StationKey& key, const QString& station, const QString& time, QJsonObject& body) {
    if (lines() == 0) {
        return false;
    }
    const QJsonObject statement{
        {QStringLiteral("_type"), QLatin1String(statementType)},
        {QStringLiteral("predicate"), coverage_.predicate(station, time)},
        {QStringLiteral("predicateType"), QLatin1String(predicateType)},
        {QStringLiteral("subject"), subjects_.isEmpty() ? QJsonArray{coverage_.lineSubject()} : subjects_}};
    const QByteArray payload = canonicalJson(statement);
    QJsonObject envelope;
    if (payload.isEmpty() || !statementFault(statement).isEmpty() || !sealEnvelope(payload, key, envelope)) {
        return false;
    }
    body = {{QStringLiteral("envelope"), envelope}, {QStringLiteral("kind"), QStringLiteral("checkpoint")}};
    *this = {};
    return true;
}

}  // namespace record
