#include "obkey/xmlText.h"

namespace {

// A ">" inside a quoted attribute value doesn't end a tag.
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

Markup markupAt(QByteArrayView text, qsizetype position) {
    struct Row {
        QByteArrayView opening;
        QByteArrayView closing;
    };
    constexpr Row rows[] = {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}};
    const QByteArrayView rest = text.sliced(position);
    for (const Row& row : rows) {
        if (rest.startsWith(row.opening)) {
            // Looked for behind the opening: "<!-->" only begins a comment.
            const qsizetype close = text.indexOf(row.closing, position + row.opening.size());
            return {close < 0 ? -1 : close + row.closing.size(), false};
        }
    }
    return {endOfTag(text, position), !rest.startsWith("<!")};
}
