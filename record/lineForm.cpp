#include "record/lineForm.h"

#include <QJsonArray>

#include <algorithm>
#include <span>

namespace record {

namespace {

constexpr double integerEnd = 9007199254740992.0;  // 2^53

// The values of members.

bool isHex(const QJsonValue& value, qsizetype digits) {
    const QString text = value.toString();
    return text.size() == digits && std::all_of(text.begin(), text.end(), [](QChar digit) {
               return (digit >= u'0' && digit <= u'9') || (digit >= u'a' && digit <= u'f');
           });
}

bool isText(const QJsonValue& value) {
    return value.isString() && !value.toString().isEmpty();
}

bool isAnyText(const QJsonValue& value) {
    return value.isString();
}

bool isCount(const QJsonValue& value) {
    return value.isDouble() && value.toDouble() >= 0 && value.toDouble() < integerEnd;
}

bool isPositive(const QJsonValue& value) {
    return isCount(value) && value.toDouble() >= 1;
}

bool isDigest(const QJsonValue& value) {
    return isHex(value, 64);
}

bool isEpoch(const QJsonValue& value) {
    return isHex(value, 16);
}

bool isIvPart(const QJsonValue& value) {
    return isHex(value, 16) || isHex(value, 32);
}

bool isVerdict(const QJsonValue& value) {
    const QString text = value.toString();
    return text == QLatin1String("proven") || text == QLatin1String("failed") || text == QLatin1String("interrupted");
}

bool isTime(const QJsonValue& value) {
    const QString text = value.toString();
    const QDateTime time = QDateTime::fromString(text, Qt::ISODateWithMs);
    return time.isValid() && timeText(time) == text;
}

bool isVersionName(const QString& name) {
    return !name.isEmpty() && std::all_of(name.begin(), name.end(), [](QChar sign) {
        const char16_t code = sign.unicode();
        return (code >= u'0' && code <= u'9') || (code >= u'A' && code <= u'Z') || (code >= u'a' && code <= u'z') ||
               code == u'-' || code == u'.' || code == u'_';
    });
}

bool isVersions(const QJsonValue& value) {
    const QJsonObject object = value.toObject();
    for (auto member = object.constBegin(); member != object.constEnd(); ++member) {
        if (!isVersionName(member.key()) || !isText(member.value())) {
            return false;
        }
    }
    return !object.isEmpty();
}

bool isBase64(const QJsonValue& value) {
    const QByteArray text = value.toString().toUtf8();
    const auto decoded = QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
    // Only one spelling is accepted: with padding, and with zeros for the bits after the last byte.
    return value.isString() && decoded && decoded.decoded.toBase64() == text;
}

bool isPayloadType(const QJsonValue& value) {
    return value.toString() == QLatin1String(payloadType);
}

bool isStatementType(const QJsonValue& value) {
    return value.toString() == QLatin1String(statementType);
}

bool isPredicateType(const QJsonValue& value) {
    return value.toString() == QLatin1String(predicateType);
}

// The tables.

enum class Shape { value, object, list };
enum class Presence { needed, optional };

struct Member {
    const char* name;
    const char* expected;  ///< the words for the value in a fault
    bool (*holds)(const QJsonValue&);
    Presence presence = Presence::needed;
    Shape shape = Shape::value;
    std::span<const Member> members = {};  ///< the members of the object, or of each object in the list
    const char* (*rule)(const QJsonObject&) =
        nullptr;  ///< checks a rule between the members; returns the fault or null
};
using Members = std::span<const Member>;

constexpr char textWords[] = "a text that isn't empty";
constexpr char anyTextWords[] = "a text";
constexpr char countWords[] = "a whole number from 0 and below 2^53";
constexpr char positiveWords[] = "a whole number from 1 and below 2^53";
constexpr char digestWords[] = "64 hexadecimal digits in lower case";
constexpr char epochWords[] = "16 hexadecimal digits in lower case";
constexpr char partWords[] = "16 or 32 hexadecimal digits in lower case";
constexpr char verdictWords[] = "\"proven\", \"failed\" or \"interrupted\"";
constexpr char timeWords[] = "a time such as \"2026-11-26T06:00:00.123Z\"";
constexpr char versionsWords[] = "an object of program names and versions";
constexpr char base64Words[] = "base64";

constexpr Member listOf(const char* name, Members members, const char* (*rule)(const QJsonObject&) = nullptr) {
    return {name, "a list of objects", nullptr, Presence::needed, Shape::list, members, rule};
}
constexpr Member objectOf(const char* name, Members members, const char* (*rule)(const QJsonObject&) = nullptr) {
    return {name, "an object", nullptr, Presence::needed, Shape::object, members, rule};
}

const char* inputRule(const QJsonObject& input) {
    const bool hasDigest = input.contains(QLatin1String("sha256"));
    if (hasDigest == input.contains(QLatin1String("fingerprint"))) {
        return "it needs either \"sha256\" or \"fingerprint\"";
    }
    return hasDigest && !input.contains(QLatin1String("size")) ? "\"size\" is missing" : nullptr;
}

// DSSE permits several signatures. A record has one, so that no part of the envelope is unprotected.
const char* envelopeRule(const QJsonObject& envelope) {
    const bool hasOne = envelope.value(QLatin1String("signatures")).toArray().size() == 1;
    return hasOne ? nullptr : "there isn't exactly one signature";
}

const char* deviceRule(const QJsonObject& device) {
    if (device.value(QLatin1String("verdict")).toString() != QLatin1String("proven")) {
        return nullptr;
    }
    if (!device.value(QLatin1String("reason")).toString().isEmpty()) {
        return "a proven device has a reason";
    }
    const QJsonArray steps = device.value(QLatin1String("steps")).toArray();
    const bool allProven = std::all_of(steps.begin(), steps.end(), [](const QJsonValue& step) {
        return step.toObject().value(QLatin1String("verdict")).toString() == QLatin1String("proven");
    });
    return allProven ? nullptr : "a proven device has a step that isn't proven";
}

constexpr Member inputMembers[] = {
    {"field", textWords, isText},
    {"fingerprint", digestWords, isDigest, Presence::optional},
    {"name", textWords, isText},
    {"sha256", digestWords, isDigest, Presence::optional},
    {"size", countWords, isCount, Presence::optional},
};
constexpr Member outputMembers[] = {
    {"name", textWords, isText},
    {"sha256", digestWords, isDigest},
    {"size", countWords, isCount},
};
constexpr Member ivMembers[] = {
    {"fingerprint", digestWords, isDigest},
    {"part", partWords, isIvPart},
};
constexpr Member stepMembers[] = {
    listOf("inputs", inputMembers, inputRule), listOf("ivs", ivMembers),    {"milliseconds", countWords, isCount},
    listOf("outputs", outputMembers),          {"step", textWords, isText}, {"verdict", verdictWords, isVerdict},
};
constexpr Member startMembers[] = {
    {"job", digestWords, isDigest},
    {"versions", versionsWords, isVersions},
};
constexpr Member deviceMembers[] = {
    {"attempt", positiveWords, isPositive}, {"job", digestWords, isDigest},          {"product", textWords, isText},
    {"reason", anyTextWords, isAnyText},    {"serial", textWords, isText},           listOf("steps", stepMembers),
    {"verdict", verdictWords, isVerdict},   {"versions", versionsWords, isVersions},
};
constexpr Member recallMembers[] = {
    {"attempt", positiveWords, isPositive},
    {"product", textWords, isText},
    {"reason", textWords, isText},
    {"serial", textWords, isText},
};
constexpr Member retireMembers[] = {
    {"fingerprint", digestWords, isDigest},
    {"reason", textWords, isText, Presence::optional},
};
constexpr Member epochMembers[] = {
    {"epoch", epochWords, isEpoch},
    {"reason", textWords, isText, Presence::optional},
    {"replaced", epochWords, isEpoch},
};
constexpr Member importMembers[] = {
    listOf("ivs", ivMembers),
    {"origin", textWords, isText},
};
constexpr Member countMembers[] = {
    {"failed", countWords, isCount},
    {"interrupted", countWords, isCount},
    {"proven", countWords, isCount},
};
constexpr Member endMembers[] = {objectOf("counts", countMembers)};

constexpr Member signatureMembers[] = {
    {"keyid", digestWords, isDigest},
    {"sig", base64Words, isBase64},
};
constexpr Member envelopeMembers[] = {
    {"payload", base64Words, isBase64},
    {"payloadType", "\"application/vnd.in-toto+json\"", isPayloadType},
    listOf("signatures", signatureMembers),
};
constexpr Member checkpointMembers[] = {objectOf("envelope", envelopeMembers, envelopeRule)};

constexpr Member digestMembers[] = {{"sha256", digestWords, isDigest}};
constexpr Member subjectMembers[] = {
    objectOf("digest", digestMembers),
    {"name", textWords, isText},
};
constexpr Member coveredMembers[] = {
    {"failed", countWords, isCount},
    {"interrupted", countWords, isCount},
    {"outputs", countWords, isCount},
    {"proven", countWords, isCount},
};
constexpr Member predicateMembers[] = {
    objectOf("counts", coveredMembers),  {"firstLine", positiveWords, isPositive},
    {"lastHash", digestWords, isDigest}, {"lastLine", positiveWords, isPositive},
    {"station", textWords, isText},      {"time", timeWords, isTime},
};
constexpr Member statementMembers[] = {
    {"_type", "\"https://in-toto.io/Statement/v1\"", isStatementType},
    objectOf("predicate", predicateMembers),
    {"predicateType", "\"https://qvora.invalid/production-record/v1\"", isPredicateType},
    listOf("subject", subjectMembers),
};

// Lines of all kinds except checkpoints have these members, too. The time and the station of a checkpoint are in its
// statement, so that its signature covers them.
constexpr Member commonMembers[] = {
    {"station", textWords, isText},
    {"time", timeWords, isTime},
};
constexpr const char* chainMembers[] = {"kind", "number", "previous"};

struct Kind {
    const char* name;
    Members members;
    Members common = commonMembers;
    const char* (*rule)(const QJsonObject&) = nullptr;
};
constexpr Kind kinds[] = {
    {"checkpoint", checkpointMembers, {}},
    {"device", deviceMembers, commonMembers, deviceRule},
    {"end", endMembers},
    {"epoch", epochMembers},
    {"import", importMembers},
    {"recall", recallMembers},
    {"retire", retireMembers},
    {"start", startMembers},
};

QString objectFault(const QJsonObject& object, std::initializer_list<Members> tables, qsizetype ignored = 0);

QString memberFault(const QJsonValue& value, const Member& member) {
    const QString name = QLatin1String(member.name);
    const bool hasShape = member.shape == Shape::list     ? value.isArray()
                          : member.shape == Shape::object ? value.isObject()
                                                          : member.holds(value);
    if (!hasShape) {
        return QStringLiteral("\"%1\" isn't %2").arg(name, QLatin1String(member.expected));
    }
    if (member.shape == Shape::object) {
        QString fault = objectFault(value.toObject(), {member.members});
        if (fault.isEmpty() && member.rule != nullptr) {
            fault = QString::fromLatin1(member.rule(value.toObject()));
        }
        return fault.isEmpty() ? fault : QStringLiteral("in \"%1\", %2").arg(name, fault);
    }
    if (member.shape == Shape::list) {
        qsizetype number = 0;
        for (const QJsonValue item : value.toArray()) {
            ++number;
            QString fault =
                item.isObject() ? objectFault(item.toObject(), {member.members}) : QStringLiteral("there is no object");
            if (fault.isEmpty() && member.rule != nullptr) {
                fault = QString::fromLatin1(member.rule(item.toObject()));
            }
            if (!fault.isEmpty()) {
                return QStringLiteral("in item %1 of \"%2\", %3").arg(QString::number(number), name, fault);
            }
        }
    }
    return {};
}

// `ignored` is the number of members that other functions check.
QString objectFault(const QJsonObject& object, std::initializer_list<Members> tables, qsizetype ignored) {
    qsizetype known = ignored;
    for (const Members& table : tables) {
        for (const Member& member : table) {
            const QJsonValue value = object.value(QLatin1String(member.name));
            if (value.isUndefined()) {
                if (member.presence == Presence::needed) {
                    return QStringLiteral("\"%1\" is missing").arg(QLatin1String(member.name));
                }
                continue;
            }
            ++known;
            const QString fault = memberFault(value, member);
            if (!fault.isEmpty()) {
                return fault;
            }
        }
    }
    return known == object.size() ? QString() : QStringLiteral("there is an unknown member");
}

}  // namespace

QString timeText(const QDateTime& time) {
    return time.toUTC().toString(Qt::ISODateWithMs);
}

QString lineFault(const QJsonObject& line) {
    const QString name = line.value(QLatin1String("kind")).toString();
    const auto* const kind = std::find_if(std::begin(kinds), std::end(kinds),
                                          [&](const Kind& row) { return name == QLatin1String(row.name); });
    if (kind == std::end(kinds)) {
        return QStringLiteral("\"kind\" is missing or unknown");
    }
    const auto ignored = std::count_if(std::begin(chainMembers), std::end(chainMembers),
                                       [&](const char* member) { return line.contains(QLatin1String(member)); });
    QString fault = objectFault(line, {kind->common, kind->members}, ignored);
    return fault.isEmpty() && kind->rule != nullptr ? QString::fromLatin1(kind->rule(line)) : fault;
}

QString statementFault(const QJsonObject& statement) {
    return objectFault(statement, {statementMembers});
}

}  // namespace record
