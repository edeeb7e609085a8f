#pragma once

#include <QByteArrayView>

/// A tag, comment, run of character data, instruction or declaration in the text of an XML document.
struct Markup {
    qsizetype end = -1;  ///< behind its last character; -1 if the text ends before
    bool isTag = false;
};

/// What begins with the "<" at `position` of `text`.
[[nodiscard]] Markup markupAt(QByteArrayView text, qsizetype position);
