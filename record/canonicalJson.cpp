#include "record/canonicalJson.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>
#include <vector>

namespace record {

namespace {

constexpr double integerEnd = 9007199254740992.0;  // 2^53: from here on, doubles skip integers
constexpr qsizetype mostBytesOfUnit = 6;           // \u001f
constexpr qsizetype roomStep = 4096;

/// The letter of a short escape (RFC 8785, 3.2.2.2); 0 if the character has none.
char shortEscape(char16_t unit) {
    switch (unit) {
        case u'\b':
            return 'b';
        case u'\t':
            return 't';
        case u'\n':
            return 'n';
        case u'\f':
            return 'f';
        case u'\r':
            return 'r';
        case u'"':
            return '"';
        case u'\\':
            return '\\';
        default:
            return 0;
    }
}

class Writer {
  public:
    [[nodiscard]] bool write(const QJsonValue& value, int level) {
        switch (value.type()) {
            case QJsonValue::Null:
                bytes_.append("null");
                return true;
            case QJsonValue::Bool:
                bytes_.append(value.toBool() ? "true" : "false");
                return true;
            case QJsonValue::Double:
                return writeNumber(value.toDouble());
            case QJsonValue::String:
                return writeString(value.toString());
            case QJsonValue::Array:
                return level < mostJsonLevels && writeArray(value.toArray(), level + 1);
            case QJsonValue::Object:
                return level < mostJsonLevels && writeObject(value.toObject(), level + 1);
            case QJsonValue::Undefined:
                break;
        }
        return false;
    }
    [[nodiscard]] QByteArray take() { return std::move(bytes_); }

  private:
    [[nodiscard]] bool writeNumber(double number) {
        if (!(std::fabs(number) < integerEnd) || number != std::trunc(number)) {
            return false;
        }
        char text[24];
        const std::to_chars_result end = std::to_chars(text, text + sizeof text, static_cast<qint64>(number));
        bytes_.append(text, end.ptr - text);
        return true;
    }

    [[nodiscard]] bool writeString(QStringView text) {
        bytes_.append('"');
        for (qsizetype at = 0; at < text.size(); at += roomStep) {
            const qsizetype end = std::min(text.size(), at + roomStep);
            const qsizetype used = bytes_.size();
            bytes_.resize(used + (end - at) * mostBytesOfUnit);
            char* out = bytes_.data() + used;
            for (qsizetype i = at; i < end; ++i) {
                if (!writeUnit(text, i, out)) {
                    return false;
                }
            }
            bytes_.truncate(out - bytes_.constData());
        }
        bytes_.append('"');
        return true;
    }

    // Writes the UTF-16 code unit at `i` to `out`. The first half of a surrogate pair writes nothing, the second half
    // writes four bytes. False if a half is alone.
    [[nodiscard]] static bool writeUnit(QStringView text, qsizetype i, char*& out) {
        const char16_t unit = text.utf16()[i];
        const auto put = [&out](unsigned value) { *out++ = static_cast<char>(value); };
        if (unit >= 0x20 && unit < 0x80 && unit != u'"' && unit != u'\\') {
            put(unit);
        } else if (unit < 0x80) {
            put('\\');
            if (const char letter = shortEscape(unit)) {
                put(static_cast<unsigned char>(letter));
            } else {
                constexpr char digits[] = "0123456789abcdef";
                std::copy_n("u00", 3, out);
                out += 3;
                put(static_cast<unsigned char>(digits[unit >> 4]));
                put(static_cast<unsigned char>(digits[unit & 15]));
            }
        } else if (unit < 0x800) {
            put(0xC0U | (unit >> 6));
            put(0x80U | (unit & 0x3FU));
        } else if (QChar::isHighSurrogate(unit)) {
            return i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        } else if (QChar::isLowSurrogate(unit)) {
            if (i == 0 || !text.at(i - 1).isHighSurrogate()) {
                return false;
            }
            const char32_t whole = QChar::surrogateToUcs4(text.at(i - 1), text.at(i));
            put(0xF0U | (whole >> 18));
            put(0x80U | ((whole >> 12) & 0x3FU));
            put(0x80U | ((whole >> 6) & 0x3FU));
            put(0x80U | (whole & 0x3FU));
        } else {
            put(0xE0U | (unit >> 12));
            put(0x80U | ((unit >> 6) & 0x3FU));
            put(0x80U | (unit & 0x3FU));
        }
        return true;
    }

    [[nodiscard]] bool writeArray(const QJsonArray& array, int level) {
        bytes_.append('[');
        bool isFirst = true;
        for (const QJsonValue value : array) {
            if (!std::exchange(isFirst, false)) {
                bytes_.append(',');
            }
            if (!write(value, level)) {
                return false;
            }
        }
        bytes_.append(']');
        return true;
    }

    [[nodiscard]] bool writeMember(QStringView key, const QJsonValue& value, int level) {
        if (!writeString(key)) {
            return false;
        }
        bytes_.append(':');
        return write(value, level);
    }

    [[nodiscard]] bool writeObject(const QJsonObject& object, int level) {
        bytes_.append('{');
        const qsizetype start = bytes_.size();
        QString before;
        for (auto member = object.constBegin(); member != object.constEnd(); ++member) {
            const QString key = member.key();
            if (member != object.constBegin()) {
                if (!(before < key)) {
                    bytes_.truncate(start);
                    return writeSorted(object, level);
                }
                bytes_.append(',');
            }
            if (!writeMember(key, member.value(), level)) {
                return false;
            }
            before = key;
        }
        bytes_.append('}');
        return true;
    }

    // RFC 8785, 3.2.3 sorts by UTF-16 code units, which is the order of QString's operator <. If a key has surrogate
    // pairs, Qt's parser sorts in another order, and an object then finds no value by its key. So the list keeps each
    // value with its key.
    [[nodiscard]] bool writeSorted(const QJsonObject& object, int level) {
        std::vector<std::pair<QString, QJsonValue>> members;
        for (auto member = object.constBegin(); member != object.constEnd(); ++member) {
            members.emplace_back(member.key(), member.value());
        }
        std::sort(members.begin(), members.end(),
                  [](const auto& one, const auto& other) { return one.first < other.first; });
        bool isFirst = true;
        for (const auto& [key, value] : members) {
            if (!std::exchange(isFirst, false)) {
                bytes_.append(',');
            }
            if (!writeMember(key, value, level)) {
                return false;
            }
        }
        bytes_.append('}');
        return true;
    }

    QByteArray bytes_;
};

/// Whether a text is within the limits. The text needn't be JSON.
bool isWithinLimits(QByteArrayView text) {
    int level = 0;
    qsizetype values = 1;
    bool inString = false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char byte = text.at(i);
        if (byte == '"') {
            inString = !inString;
        } else if (inString) {
            i += byte == '\\' ? 1 : 0;
        } else if (byte == '{' || byte == '[') {
            ++values;
            if (++level > mostJsonLevels) {
                return false;
            }
        } else if (byte == '}' || byte == ']') {
            --level;
        } else if (byte == ',' && ++values > mostJsonValues) {
            return false;
        }
    }
    return values <= mostJsonValues;
}

}  // namespace

QByteArray canonicalJson(const QJsonValue& value) {
    Writer writer;
    return writer.write(value, 0) ? writer.take() : QByteArray();
}

bool parseCanonicalJson(QByteArrayView text, QJsonObject& object, QString& fault) {
    if (!isWithinLimits(text)) {
        fault = QStringLiteral("has more than %1 levels or %2 values").arg(mostJsonLevels).arg(mostJsonValues);
        return false;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromRawData(text.data(), text.size()), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        fault = QStringLiteral("isn't a JSON object");
        return false;
    }
    const QJsonObject parsed = document.object();
    if (canonicalJson(parsed) != text) {
        fault = QStringLiteral("isn't in the canonical form of RFC 8785");
        return false;
    }
    object = parsed;
    return true;
}

}  // namespace record
