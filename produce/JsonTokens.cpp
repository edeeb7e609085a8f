#include "produce/JsonTokens.h"

#include <QList>
#include <QSet>

namespace produce {

namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool isPartOfWord(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '+' ||
           c == '.';
}

bool readFourDigits(QByteArrayView text, qsizetype at, char16_t& unit) {
    if (text.size() - at < 4) {
        return false;
    }
    unsigned value = 0;
    for (const char c : text.sliced(at, 4)) {
        const int digit = c >= '0' && c <= '9'   ? c - '0'
                          : c >= 'a' && c <= 'f' ? c - 'a' + 10
                          : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                 : -1;
        if (digit < 0) {
            return false;
        }
        value = value * 16 + static_cast<unsigned>(digit);
    }
    unit = static_cast<char16_t>(value);
    return true;
}

/// An object or array that encloses the current token.
struct Level {
    bool isObject = false;
    bool expectsName = false;
    qsizetype index = 0;
    QString name;
    QSet<QString> names;
};

QString pathOf(const QList<Level>& levels) {
    QString path;
    for (const Level& level : levels) {
        if (!level.isObject) {
            path += QStringLiteral("[%1]").arg(level.index);
        } else {
            path += (path.isEmpty() ? QString() : QStringLiteral(".")) + level.name;
        }
    }
    return path;
}

}  // namespace

JsonTokens::Kind JsonTokens::next() {
    start_ = end_;
    while (start_ < text_.size() && isBlank(text_.at(start_))) {
        ++start_;
    }
    end_ = start_;
    if (start_ == text_.size()) {
        return Kind::end;
    }
    const char first = text_.at(start_);
    if (first == '"') {
        return takeString();
    }
    if (isPartOfWord(first)) {
        while (end_ < text_.size() && isPartOfWord(text_.at(end_))) {
            ++end_;
        }
        return Kind::word;
    }
    ++end_;
    switch (first) {
        case '{':
            return Kind::objectStart;
        case '}':
            return Kind::objectEnd;
        case '[':
            return Kind::arrayStart;
        case ']':
            return Kind::arrayEnd;
        case ':':
            return Kind::colon;
        case ',':
            return Kind::comma;
        default:
            end_ = start_;
            return Kind::fault;
    }
}

JsonTokens::Kind JsonTokens::takeString() {
    for (qsizetype at = start_ + 1; at < text_.size(); ++at) {
        const char c = text_.at(at);
        if (c == '"') {
            end_ = at + 1;
            return Kind::string;
        }
        if (static_cast<unsigned char>(c) < 0x20) {
            break;
        }
        at += c == '\\' ? 1 : 0;
    }
    return Kind::fault;
}

bool JsonTokens::string(QString& value) const {
    const QByteArrayView inside = text_.sliced(start_ + 1, end_ - start_ - 2);
    QString decoded;
    qsizetype at = 0;
    while (at < inside.size()) {
        const qsizetype backslash = inside.indexOf('\\', at);
        const qsizetype end = backslash < 0 ? inside.size() : backslash;
        decoded += QString::fromUtf8(inside.sliced(at, end - at));
        if (backslash < 0) {
            break;
        }
        // A string token never ends in a backslash, so one more byte is there.
        const char escape = inside.at(backslash + 1);
        constexpr QByteArrayView letters("\"\\/bfnrt");
        constexpr QByteArrayView meanings("\"\\/\b\f\n\r\t");
        const qsizetype index = letters.indexOf(escape);
        at = backslash + 2;
        if (index >= 0) {
            decoded += QLatin1Char(meanings.at(index));
            continue;
        }
        char16_t unit = 0;
        if (escape != 'u' || !readFourDigits(inside, at, unit)) {
            return false;
        }
        decoded += QChar(unit);
        at += 4;
    }
    if (!decoded.isValidUtf16()) {
        return false;
    }
    value = decoded;
    return true;
}

QString repeatedMember(QByteArrayView json) {
    JsonTokens tokens(json);
    QList<Level> levels;
    for (JsonTokens::Kind kind = tokens.next(); kind != JsonTokens::Kind::end && kind != JsonTokens::Kind::fault;
         kind = tokens.next()) {
        switch (kind) {
            case JsonTokens::Kind::objectStart:
                levels.append({true, true, 0, {}, {}});
                break;
            case JsonTokens::Kind::arrayStart:
                levels.append(Level());
                break;
            case JsonTokens::Kind::objectEnd:
            case JsonTokens::Kind::arrayEnd:
                if (!levels.isEmpty()) {
                    levels.removeLast();
                }
                break;
            case JsonTokens::Kind::comma:
                if (!levels.isEmpty()) {
                    ++levels.last().index;
                    levels.last().expectsName = levels.constLast().isObject;
                }
                break;
            case JsonTokens::Kind::string:
                if (!levels.isEmpty() && levels.constLast().expectsName) {
                    Level& level = levels.last();
                    level.expectsName = false;
                    static_cast<void>(tokens.string(level.name));
                    if (level.names.contains(level.name)) {
                        return pathOf(levels);
                    }
                    level.names.insert(level.name);
                }
                break;
            default:
                break;
        }
    }
    return {};
}

}  // namespace produce
