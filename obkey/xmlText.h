#pragma once

#include <QByteArray>
#include <QByteArrayView>

/// A tag, comment, run of character data, instruction or declaration in the text of an XML document.
struct Markup {
    qsizetype end = -1;  ///< behind its last character; -1 if the text ends before
    bool isTag = false;
};

/// What begins with the "<" at `position` of `text`.
[[nodiscard]] Markup markupAt(QByteArrayView text, qsizetype position);

/// A piece of the template's text: [begin, end).
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

/// Finds the next tag at or after `position`; comments, character data and instructions are skipped.
[[nodiscard]] bool nextTag(const QByteArray& bytes, qsizetype position, Tag& tag);

/// Whether a character is a blank between tags.
[[nodiscard]] bool isXmlSpace(char character);

/// Appends a character of a text as it may be between two tags.
void appendEscaped(char character, QByteArray& bytes);
