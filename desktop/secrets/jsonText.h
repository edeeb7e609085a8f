#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QList>

// Changes to the text of a JSON document that leave everything else in it as somebody wrote it: the order of the keys,
// blanks, and what nobody here knows. The text has passed QJsonDocument before.

/// A part of a text.
struct TextSpan {
    qsizetype start = 0;
    qsizetype end = 0;  ///< behind its last character
};

/// Where the value of `key` stands in `object`, the text of a JSON object. Of several with this key, the last counts.
[[nodiscard]] bool findMember(const QByteArray& object, const QByteArray& key, TextSpan& value);

/// Where the elements of the array that begins at `start` stand, and at `end` its closing bracket.
[[nodiscard]] bool findElements(const QByteArray& text, qsizetype start, QList<TextSpan>& elements, qsizetype& end);

/// `object` with the value behind `path`, a key and the keys of objects in it, set to `value`, a JSON text. What isn't
/// there is made, behind the last member.
[[nodiscard]] QByteArray withValue(const QByteArray& object, const QByteArrayList& path, const QByteArray& value);

/// `text` as a JSON string.
[[nodiscard]] QByteArray jsonString(const QString& text);
