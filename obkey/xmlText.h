#pragma once

#include <QByteArray>
#include <QByteArrayView>

namespace obkey {

/// A tag, comment, CDATA section, instruction or declaration in the text of an XML document.
struct Markup {
    qsizetype end = -1;  ///< offset after its last character; -1 if the text ends before the markup is complete
    bool isTag = false;
};

/// The markup that begins with the "<" at `position` of `text`.
[[nodiscard]] Markup markupAt(QByteArrayView text, qsizetype position);

/// A range of the template's text, without `end` itself.
struct TextRange {
    qsizetype begin = -1;
    qsizetype end = -1;
    [[nodiscard]] qsizetype size() const { return end - begin; }
};

enum class TagKind { open, close, selfClosed };

struct Tag {
    TextRange range;
    TagKind kind = TagKind::open;
    QByteArrayView name;
};

/// Finds the next tag at or after `position`; all other markup and all text are skipped.
[[nodiscard]] bool nextTag(const QByteArray& bytes, qsizetype position, Tag& tag);

/// Whether a character is XML white space.
[[nodiscard]] bool isXmlSpace(char character);

/// Appends a character of a text. Escapes a character that has a special meaning there.
void appendEscaped(char character, QByteArray& bytes);

}  // namespace obkey
