#include "obkey/xmlText.h"

namespace obkey {

namespace {

// The offset after the ">" that ends a tag. A ">" inside a quoted attribute value doesn't end it.
qsizetype endOfTag(QByteArrayView text, qsizetype position) {
    char quote = 0;
    for (; position < text.size(); ++position) {
        const char character = text.at(position);
        if (quote != 0) {
            quote = character == quote ? '\0' : quote;
        } else if (character == '"' || character == '\'') {
            quote = character;
        } else if (character == '>') {
            return position + 1;
        }
    }
    return -1;
}

}  // namespace

bool isXmlSpace(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

Markup markupAt(QByteArrayView text, qsizetype position) {
    struct Row {
        QByteArrayView opening;
        QByteArrayView closing;
    };
    constexpr Row rows[] = {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}};
    const QByteArrayView rest = text.sliced(position);
    for (const Row& row : rows) {
        if (rest.startsWith(row.opening)) {
            // The search starts after the opening: "<!-->" only begins a comment.
            const qsizetype close = text.indexOf(row.closing, position + row.opening.size());
            return {close < 0 ? -1 : close + row.closing.size(), false};
        }
    }
    return {endOfTag(text, position), !rest.startsWith("<!")};
}

bool nextTag(const QByteArray& bytes, qsizetype position, Tag& tag) {
    Markup markup;
    do {
        tag.range.begin = position < 0 ? -1 : bytes.indexOf('<', position);
        if (tag.range.begin < 0) {
            return false;
        }
        markup = markupAt(bytes, tag.range.begin);
        position = markup.end;
    } while (!markup.isTag);
    tag.range.end = markup.end;
    if (markup.end < 0) {
        return false;
    }
    const QByteArrayView inner = QByteArrayView(bytes).sliced(tag.range.begin + 1, tag.range.size() - 2);
    tag.kind = inner.startsWith('/') ? TagKind::close : inner.endsWith('/') ? TagKind::selfClosed : TagKind::open;
    const qsizetype nameBegin = tag.kind == TagKind::close ? 1 : 0;
    qsizetype nameEnd = nameBegin;
    while (nameEnd < inner.size() && !isXmlSpace(inner.at(nameEnd)) && inner.at(nameEnd) != '/') {
        ++nameEnd;
    }
    tag.name = inner.sliced(nameBegin, nameEnd - nameBegin);
    return true;
}

void appendEscaped(char character, QByteArray& bytes) {
    switch (character) {
        case '&':
            bytes.append("&amp;");
            break;
        case '<':
            bytes.append("&lt;");
            break;
        case '>':
            bytes.append("&gt;");
            break;
        case '\r':
            bytes.append("&#13;");
            break;
        default:
            bytes.append(character);
    }
}

}  // namespace obkey
