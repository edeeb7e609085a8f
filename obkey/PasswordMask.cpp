#include "obkey/PasswordMask.h"

#include "files/wipe.h"
#include "obkey/xmlText.h"

#include <algorithm>

namespace obkey {

namespace {

/// The first and the last character of a mark: U+F8FF, a private-use character. The number of the mark is between them.
constexpr QByteArrayView sign("\xEF\xA3\xBF");

/// Whether XML 1.0 allows a character in a text (production 2).
bool isXmlCharacter(char32_t character) {
    return character == '\t' || character == '\n' || character == '\r' || (character >= 0x20 && character < 0xD800) ||
           (character > 0xDFFF && character < 0xFFFE) || (character > 0xFFFF && character <= 0x10FFFF);
}

bool isXmlText(QByteArrayView raw) {
    const auto isControl = [](char character) {
        return static_cast<unsigned char>(character) < 0x20 && !isXmlSpace(character);
    };
    return raw.isValidUtf8() && std::none_of(raw.begin(), raw.end(), isControl) && raw.indexOf("\xEF\xBF\xBE") < 0 &&
           raw.indexOf("\xEF\xBF\xBF") < 0 && raw.indexOf("]]>") < 0;
}

/// Appends the character of a reference such as "amp" or "#x41". False if XML doesn't define the reference.
bool appendReference(QByteArrayView name, QByteArray& text) {
    struct Row {
        QByteArrayView name;
        char character;
    };
    constexpr Row rows[] = {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
    for (const Row& row : rows) {
        if (name == row.name) {
            text.append(row.character);
            return true;
        }
    }
    const int base = name.startsWith("#x") ? 16 : 10;
    const QByteArrayView digits = name.sliced(std::min<qsizetype>(base == 16 ? 2 : 1, name.size()));
    const auto isDigit = [base](char character) {
        return (character >= '0' && character <= '9') ||
               (base == 16 && QByteArrayView("abcdefABCDEF").contains(character));
    };
    const char32_t character = digits.toUInt(nullptr, base);
    if (!name.startsWith('#') || !std::all_of(digits.begin(), digits.end(), isDigit) || !isXmlCharacter(character)) {
        return false;
    }
    text.append(QString::fromUcs4(&character, 1).toUtf8());
    return true;
}

/// Appends character `i` of `raw`. As XML requires, CR LF and a lone CR become LF.
void appendCharacter(QByteArrayView raw, qsizetype i, QByteArray& text) {
    const char character = raw.at(i);
    if (character != '\r') {
        text.append(character);
    } else if (i + 1 == raw.size() || raw.at(i + 1) != '\n') {
        text.append('\n');
    }
}

/// Appends the content of a tag, without escapes, if the content is plain text or one CDATA section. Returns false for
/// any other content. Also returns false if there are only blanks, which readers skip.
bool appendMeaning(QByteArrayView raw, QByteArray& text) {
    constexpr QByteArrayView opening("<![CDATA[");
    constexpr QByteArrayView closing("]]>");
    const bool isData =
        raw.size() >= opening.size() + closing.size() && raw.startsWith(opening) && raw.endsWith(closing);
    if (isData) {
        raw = raw.sliced(opening.size()).chopped(closing.size());
    }
    if (!isXmlText(raw) || (!isData && raw.indexOf('<') >= 0)) {
        return false;
    }
    for (qsizetype i = 0; i < raw.size(); ++i) {
        if (isData || raw.at(i) != '&') {
            appendCharacter(raw, i, text);
            continue;
        }
        const qsizetype end = raw.indexOf(';', i);
        if (end < 0 || !appendReference(raw.sliced(i + 1, end - i - 1), text)) {
            return false;
        }
        i = end;
    }
    return !std::all_of(text.begin(), text.end(), isXmlSpace);
}

}  // namespace

void PasswordMask::clear() {
    for (Entry& entry : entries_) {
        wipe(entry.raw);
        wipe(entry.text);
    }
    entries_.clear();
}

QByteArray PasswordMask::markOf(qsizetype index) const {
    const QByteArray lineEnds(entries_[index].raw.count('\n'), '\n');
    return sign.toByteArray() + QByteArray::number(index) + sign.toByteArray() + lineEnds;
}

qsizetype PasswordMask::indexOf(QByteArrayView markedText) const {
    if (!markedText.startsWith(sign)) {
        return -1;
    }
    const QByteArrayView rest = markedText.sliced(sign.size());
    const qsizetype end = rest.indexOf(sign);
    bool isNumber = false;
    const qsizetype index = end < 0 || end > 9 ? -1 : rest.first(end).toLongLong(&isNumber);
    return isNumber && index >= 0 && index < entries_.size() && markedText.startsWith(markOf(index)) ? index : -1;
}

void PasswordMask::maskTag(QByteArrayView raw, QByteArray& masked) {
    Entry entry;
    entry.text.reserve(raw.size());
    if (!appendMeaning(raw, entry.text)) {
        wipe(entry.text);
        masked.append(raw);
        return;
    }
    entry.raw = raw.toByteArray();
    entries_.append(std::move(entry));
    masked.append(markOf(entries_.size() - 1));
}

QByteArray PasswordMask::mask(const QByteArray& text) {
    QByteArray masked;
    qsizetype done = 0;
    const bool hasMarks = text.contains(sign);  // written by the author; unmask would confuse them with ours
    QList<QByteArrayView> open(1);
    qsizetype begin = -1;
    Tag tag;
    for (qsizetype position = 0; !hasMarks && nextTag(text, position, tag); position = tag.range.end) {
        if (tag.kind == TagKind::open) {
            const bool isValue = open.last() == "Text" && (tag.name == "Value" || tag.name == "Default");
            begin = isValue ? tag.range.end : -1;
            open.append(tag.name);
            continue;
        }
        if (tag.kind == TagKind::close && begin >= 0) {
            const QByteArrayView whole(text);
            masked.append(whole.sliced(done, begin - done));
            maskTag(whole.sliced(begin, tag.range.begin - begin), masked);
            done = tag.range.begin;
        }
        begin = -1;
        if (tag.kind == TagKind::close && open.size() > 1) {
            open.removeLast();
        }
    }
    return masked.append(QByteArrayView(text).sliced(done));
}

QByteArray PasswordMask::unmask(const QByteArray& masked) const {
    qsizetype size = masked.size();
    for (const Entry& entry : entries_) {
        size += entry.raw.size();
    }
    QByteArray text;
    text.reserve(size);
    qsizetype done = 0;
    for (qsizetype at = masked.indexOf(sign); at >= 0; at = masked.indexOf(sign, at)) {
        const QByteArrayView rest = QByteArrayView(masked).sliced(at);
        const qsizetype index = indexOf(rest);
        if (index < 0) {
            at += sign.size();
            continue;
        }
        text.append(QByteArrayView(masked).sliced(done, at - done)).append(entries_[index].raw);
        at += markOf(index).size();
        done = at;
    }
    return text.append(QByteArrayView(masked).sliced(done));
}

bool PasswordMask::isMark(const QString& tagText) const {
    return indexOf(tagText.toUtf8()) >= 0;
}

QByteArray PasswordMask::passwordOf(const QString& tagText) const {
    const QByteArray text = tagText.toUtf8();
    const qsizetype index = indexOf(text);
    if (index < 0) {
        return QByteArray(text.constData(), text.size());
    }
    const QByteArray& password = entries_[index].text;
    return QByteArray(password.constData(), password.size());
}

QString PasswordMask::markFor(QByteArrayView password) {
    constexpr qsizetype longestEscape = 5;
    Entry entry;
    entry.text = password.toByteArray();
    entry.raw.reserve(longestEscape * password.size());
    for (const char character : password) {
        appendEscaped(character, entry.raw);
    }
    entries_.append(std::move(entry));
    return QString::fromUtf8(markOf(entries_.size() - 1));
}

}  // namespace obkey
