#include "files/parseNumber.h"
#include "inspect/formats.h"
#include "inspect/policy.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>

namespace inspect {

namespace {

constexpr qsizetype largestDocument = qsizetype{1} << 20;
constexpr double wholeLimit = 9007199254740992.0;  // 2^53; QJsonDocument rounds larger numbers

bool isWhole(const QJsonValue& json, double limit) {
    const double number = json.toDouble(-1);
    return number >= 0 && number <= limit && std::floor(number) == number;
}

bool readAddress(const QJsonValue& json, std::uint32_t& address) {
    return json.isString() && parseNumber(json.toString(), 16, address);
}

/// Reads the members of a policy document. Each function returns false if the value is wrong.
class Reader {
  public:
    Reader(Policy& policy, QString& fault) : policy_(policy), fault_(fault) {}

    bool read(const QJsonObject& document);

  private:
    struct Member {
        const char* name;
        bool (Reader::*read)(const QJsonValue& json);
        const char* expected;
    };

    bool readVersion(const QJsonValue& json) { return json.toDouble(0) == 1; }
    bool readFormats(const QJsonValue& json);
    bool readProofs(const QJsonValue& json);
    bool readImageKeys(const QJsonValue& json) { return readKeys(json, policy_.imageKeys.emplace()); }
    bool readPublicKeys(const QJsonValue& json) { return readKeys(json, policy_.publicKeys.emplace()); }
    bool readKeys(const QJsonValue& json, std::vector<QByteArray>& keys);
    bool readLeastVersion(const QJsonValue& json);
    bool readLargestSize(const QJsonValue& json);
    bool readMemory(const QJsonValue& json);
    bool readDevice(const QJsonValue& json);
    bool readOverlap(const QJsonValue& json);
    bool readOptionWords(const QJsonValue& json);
    bool readOptionWord(const QJsonObject& object);

    Policy& policy_;
    QString& fault_;
};

/// Calls `read` with each item of an array; false if `json` is no array or an item is wrong.
template <typename Read>
bool readItems(const QJsonValue& json, Read read) {
    const QJsonArray items = json.toArray();
    return json.isArray() && std::all_of(items.begin(), items.end(), read);
}

bool hasOnly(const QJsonObject& object, const QStringList& names) {
    const QStringList keys = object.keys();
    return std::all_of(keys.begin(), keys.end(), [&names](const QString& key) { return names.contains(key); });
}

bool Reader::readFormats(const QJsonValue& json) {
    QStringList& formats = policy_.formats.emplace();
    return readItems(json, [&formats](const QJsonValue& item) {
        formats.append(item.toString());
        return formatByName(item.toString()) != nullptr;
    });
}

bool Reader::readProofs(const QJsonValue& json) {
    return readItems(
        json, [this](const QJsonValue& item) { return parseProof(item.toString(), policy_.proofs.emplace_back()); });
}

bool Reader::readKeys(const QJsonValue& json, std::vector<QByteArray>& keys) {
    return readItems(
        json, [&keys](const QJsonValue& item) { return parseFingerprint(item.toString(), keys.emplace_back()); });
}

bool Reader::readLeastVersion(const QJsonValue& json) {
    Version& version = policy_.leastVersion.emplace();
    if (json.isString()) {
        return parseVersion(json.toString(), version);
    }
    version[0] = isWhole(json, 0xFFFFFFFF) ? static_cast<std::uint32_t>(json.toDouble()) : 0;
    return isWhole(json, 0xFFFFFFFF);
}

bool Reader::readLargestSize(const QJsonValue& json) {
    policy_.largestSize = static_cast<std::uint64_t>(std::max<qint64>(json.toInteger(), 0));
    return isWhole(json, wholeLimit);
}

bool Reader::readMemory(const QJsonValue& json) {
    std::vector<Span>& memory = policy_.memory.emplace();
    return readItems(json, [&memory](const QJsonValue& item) {
        const QJsonObject object = item.toObject();
        std::uint32_t from = 0;
        std::uint32_t to = 0;
        const QJsonValue name = object.value(QLatin1String("name"));
        if (!hasOnly(object, {QStringLiteral("name"), QStringLiteral("from"), QStringLiteral("to")}) ||
            !(name.isUndefined() || name.isString()) || !readAddress(object.value(QLatin1String("from")), from) ||
            !readAddress(object.value(QLatin1String("to")), to) || from > to) {
            return false;
        }
        memory.push_back({from, std::uint64_t{to} + 1});
        return true;
    });
}

bool Reader::readDevice(const QJsonValue& json) {
    policy_.isForDeviceMemory = true;
    return readAddress(json, policy_.device.emplace());
}

bool Reader::readOverlap(const QJsonValue& json) {
    policy_.forbidsOverlap = !json.toBool();
    return json.isBool();
}

/// Whether the members that a rule has in any form are right.
bool isCommon(const QJsonObject& object, const OptionRule& rule) {
    const QJsonValue name = object.value(QLatin1String("name"));
    const QJsonValue irreversible = object.value(QLatin1String("irreversible"));
    return hasOnly(object, {QStringLiteral("name"), QStringLiteral("word"), QStringLiteral("mask"),
                            QStringLiteral("register"), QStringLiteral("field"), QStringLiteral("is"),
                            QStringLiteral("isNot"), QStringLiteral("irreversible")}) &&
           (name.isUndefined() || name.isString()) && rule.isForbidden != object.contains(QLatin1String("is")) &&
           (irreversible.isUndefined() || (irreversible.isBool() && (rule.isForbidden || !rule.isIrreversible)));
}

/// Reads the register and the field of a rule. Only a field has named values.
bool readPlace(const QJsonObject& object, const QJsonValue& value, OptionRule& rule) {
    const QString field = object.value(QLatin1String("field")).toString();
    rule.place = object.value(QLatin1String("register")).toString();
    rule.valueName = value.toString();
    std::uint32_t number = 0;
    const bool hasField = object.contains(QLatin1String("field"));
    const bool isRight = !rule.place.isEmpty() && hasField != field.isEmpty() && !rule.valueName.isEmpty() &&
                         (hasField || readAddress(value, number)) && !object.contains(QLatin1String("word")) &&
                         !object.contains(QLatin1String("mask"));
    rule.place += hasField ? u'.' + field : QString();
    return isRight;
}

bool Reader::readOptionWord(const QJsonObject& object) {
    OptionRule& rule = policy_.options.emplace_back();
    const QJsonValue name = object.value(QLatin1String("name"));
    const QJsonValue word = object.value(QLatin1String("word"));
    const QJsonValue mask = object.value(QLatin1String("mask"));
    const QJsonValue irreversible = object.value(QLatin1String("irreversible"));
    rule.name = name.toString();
    rule.isForbidden = object.contains(QLatin1String("isNot"));
    rule.isIrreversible = irreversible.toBool();
    const QJsonValue value = object.value(QLatin1String(rule.isForbidden ? "isNot" : "is"));
    if (object.contains(QLatin1String("register"))) {
        return isCommon(object, rule) && readPlace(object, value, rule);
    }
    rule.word = isWhole(word, 65535) ? static_cast<std::uint32_t>(word.toInteger()) : 0;
    return isCommon(object, rule) && !object.contains(QLatin1String("field")) && rule.word > 0 &&
           (mask.isUndefined() || readAddress(mask, rule.mask)) && readAddress(value, rule.value) &&
           (rule.value & ~rule.mask) == 0;
}

bool Reader::readOptionWords(const QJsonValue& json) {
    return readItems(json,
                     [this](const QJsonValue& item) { return item.isObject() && readOptionWord(item.toObject()); });
}

bool Reader::read(const QJsonObject& document) {
    constexpr std::array members = {
        Member{"version", &Reader::readVersion, "1"},
        Member{"formats", &Reader::readFormats, "a list of the formats that --help names"},
        Member{"proofs", &Reader::readProofs, "a list of digest, signature, tag and comparison"},
        Member{"imageKeys", &Reader::readImageKeys, "a list of fingerprints of 64 hexadecimal digits"},
        Member{"publicKeys", &Reader::readPublicKeys, "a list of fingerprints of 64 hexadecimal digits"},
        Member{"leastVersion", &Reader::readLeastVersion, "a number or a text such as \"1.2.3\""},
        Member{"largestSize", &Reader::readLargestSize, "a number of bytes"},
        Member{"memory", &Reader::readMemory, "a list of ranges with \"from\" and \"to\", such as \"0x08000000\""},
        Member{"device", &Reader::readDevice, "a hexadecimal number, such as \"0x455\""},
        Member{"overlaps", &Reader::readOverlap, "true or false"},
        Member{"optionWords", &Reader::readOptionWords,
               "a list of rules with \"word\" and \"mask\", or with \"register\" and \"field\", and either \"is\" or "
               "\"isNot\", a value inside the mask"},
    };
    for (const QString& key : document.keys()) {
        const auto* const member = std::find_if(members.begin(), members.end(), [&key](const Member& candidate) {
            return key == QLatin1String(candidate.name);
        });
        if (member == members.end()) {
            fault_ = QStringLiteral("unknown member \"%1\"").arg(key);
            return false;
        }
        if (!(this->*member->read)(document.value(key))) {
            fault_ = QStringLiteral("\"%1\" must be %2").arg(key, QLatin1String(member->expected));
            return false;
        }
    }
    if (!document.contains(QLatin1String("version"))) {
        fault_ = QStringLiteral("\"version\" is missing");
        return false;
    }
    return true;
}

}  // namespace

bool readPolicy(QByteArrayView json, Policy& policy, QString& fault) {
    if (json.size() > largestDocument) {
        fault = QStringLiteral("larger than 1 MiB");
        return false;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json.toByteArray(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        fault = document.isNull() ? QStringLiteral("no JSON: byte %1: %2").arg(error.offset).arg(error.errorString())
                                  : QStringLiteral("no JSON object");
        return false;
    }
    return Reader(policy, fault).read(document.object());
}

bool parseVersion(QStringView text, Version& version) {
    constexpr QStringView separators = u"..+";
    qsizetype at = 0;
    for (std::size_t i = 0; i < version.size(); ++i) {
        const QStringView rest = text.sliced(at);
        const qsizetype end = i + 1 < version.size() ? rest.indexOf(separators.at(static_cast<qsizetype>(i))) : -1;
        if (!parseNumber(end < 0 ? rest : rest.first(end), 10, version[i])) {
            return false;
        }
        if (end < 0) {
            return true;
        }
        at += end + 1;
    }
    return true;
}

bool parseFingerprint(const QString& text, QByteArray& fingerprint) {
    constexpr qsizetype digits = 64;
    const bool isHex = std::all_of(text.begin(), text.end(), [](QChar digit) {
        const char16_t code = digit.toLower().unicode();
        return (code >= u'0' && code <= u'9') || (code >= u'a' && code <= u'f');
    });
    fingerprint = QByteArray::fromHex(text.toLatin1());
    return text.size() == digits && isHex;
}

bool parseProof(const QString& text, Proof& proof) {
    constexpr std::array proofs = {Proof::digest, Proof::signature, Proof::tag, Proof::comparison};
    const auto* const found = std::find_if(
        proofs.begin(), proofs.end(), [&text](Proof candidate) { return text == QLatin1String(nameOf(candidate)); });
    if (found == proofs.end()) {
        return false;
    }
    proof = *found;
    return true;
}

bool parseOptionRule(const QString& text, OptionRule& rule) {
    const qsizetype equals = text.indexOf(u'=');
    if (equals < 0) {
        return false;
    }
    rule.isForbidden = equals > 0 && text.at(equals - 1) == u'!';
    const QStringView place = QStringView(text).first(equals - (rule.isForbidden ? 1 : 0));
    if (!place.isEmpty() && !place.front().isDigit()) {
        rule.place = place.toString();
        rule.valueName = text.sliced(equals + 1);
        return !rule.valueName.isEmpty();
    }
    const qsizetype slash = place.indexOf(u'/');
    return parseNumber(slash < 0 ? place : place.first(slash), 10, rule.word) && rule.word > 0 &&
           (slash < 0 || parseNumber(place.sliced(slash + 1), 16, rule.mask)) &&
           parseNumber(QStringView(text).sliced(equals + 1), 16, rule.value) && (rule.value & ~rule.mask) == 0;
}

}  // namespace inspect
