#include "desktop/secrets/jsonText.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace desktop {

namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// Walks through a text value by value. It never leaves the text, whatever the text contains.
class Cursor {
  public:
    Cursor(const QByteArray& text, qsizetype at) : text_(text), at_(at) {}

    [[nodiscard]] qsizetype at() const { return at_; }
    [[nodiscard]] char next() const { return at_ < text_.size() ? text_.at(at_) : '\0'; }

    void skipBlanks() {
        while (isBlank(next())) {
            ++at_;
        }
    }

    /// Skips blanks and then `c`; false if `c` isn't next.
    bool take(char c) {
        skipBlanks();
        if (next() != c) {
            return false;
        }
        ++at_;
        return true;
    }

    bool takeString(TextSpan& span) {
        span.start = at_;
        if (!take('"')) {
            return false;
        }
        while (at_ < text_.size() && next() != '"') {
            at_ += next() == '\\' ? 2 : 1;
        }
        span.end = at_ + 1;
        return take('"');
    }

    /// Skips a value with everything in it.
    bool takeValue(TextSpan& span) {
        skipBlanks();
        span.start = at_;
        qsizetype depth = 0;
        do {
            skipBlanks();
            const char c = next();
            TextSpan inner;
            if (c == '"') {
                if (!takeString(inner)) {
                    return false;
                }
            } else if (c == '\0') {
                return false;
            } else {
                depth += c == '{' || c == '[' ? 1 : c == '}' || c == ']' ? -1 : 0;
                ++at_;
                if (depth == 0 && c != '}' && c != ']') {
                    while (!isBlank(next()) && !QByteArrayView(",]}").contains(next()) && next() != '\0') {
                        ++at_;
                    }
                }
            }
        } while (depth > 0);
        span.end = at_;
        return depth == 0;
    }

  private:
    const QByteArray& text_;
    qsizetype at_;
};

QString decoded(const QByteArray& string) {
    return QJsonDocument::fromJson('[' + string + ']').array().at(0).toString();
}

/// Calls `each` with the spans of every key and value of an object.
template <typename Each>
bool walkMembers(const QByteArray& object, Each each) {
    Cursor cursor(object, 0);
    if (!cursor.take('{')) {
        return false;
    }
    while (!cursor.take('}')) {
        TextSpan key;
        TextSpan value;
        cursor.skipBlanks();
        if (!cursor.takeString(key) || !cursor.take(':') || !cursor.takeValue(value)) {
            return false;
        }
        each(key, value);
        (void)cursor.take(',');
    }
    return true;
}

QByteArray textOf(const QByteArray& text, const TextSpan& span) {
    return text.sliced(span.start, span.end - span.start);
}

/// Returns `object` with one more member after the last one, with the same blanks before it.
QByteArray withMember(const QByteArray& object, const QByteArray& key, const QByteArray& value) {
    TextSpan lastKey;
    TextSpan lastValue;
    (void)walkMembers(object, [&](const TextSpan& memberKey, const TextSpan& memberValue) {
        lastKey = memberKey;
        lastValue = memberValue;
    });
    const bool isFirst = lastValue.end == 0;
    const qsizetype place = isFirst ? object.indexOf('{') + 1 : lastValue.end;
    qsizetype blanks = lastKey.start;
    while (blanks > 0 && isBlank(object.at(blanks - 1))) {
        --blanks;
    }
    return object.first(place) + (isFirst ? "" : ",") + object.sliced(blanks, lastKey.start - blanks) + '"' + key +
           "\": " + value + object.sliced(place);
}

}  // namespace

bool findMember(const QByteArray& object, const QByteArray& key, TextSpan& value) {
    bool isFound = false;
    const QByteArray plain = '"' + key + '"';
    const bool isRead = walkMembers(object, [&](const TextSpan& memberKey, const TextSpan& memberValue) {
        const QByteArray text = textOf(object, memberKey);
        if (text == plain || (text.contains('\\') && decoded(text) == QString::fromUtf8(key))) {
            value = memberValue;
            isFound = true;
        }
    });
    return isRead && isFound;
}

bool findElements(const QByteArray& text, qsizetype start, QList<TextSpan>& elements, qsizetype& end) {
    Cursor cursor(text, start);
    if (!cursor.take('[')) {
        return false;
    }
    while (!cursor.take(']')) {
        TextSpan element;
        if (!cursor.takeValue(element)) {
            return false;
        }
        elements += element;
        (void)cursor.take(',');
    }
    end = cursor.at() - 1;
    return true;
}

QByteArray withValue(const QByteArray& object, const QByteArrayList& path, const QByteArray& value) {
    if (path.isEmpty()) {
        return value;
    }
    TextSpan span;
    if (!findMember(object, path.constFirst(), span)) {
        return withMember(object, path.constFirst(), withValue("{}", path.sliced(1), value));
    }
    QByteArray inner = textOf(object, span);
    if (path.size() > 1 && !inner.startsWith('{')) {
        inner = "{}";
    }
    return object.first(span.start) + withValue(inner, path.sliced(1), value) + object.sliced(span.end);
}

QByteArray jsonString(const QString& text) {
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return array.sliced(1, array.size() - 2);
}

}  // namespace desktop
