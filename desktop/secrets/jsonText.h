#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QList>

namespace desktop {

// Edits of the text of a JSON document that preserve everything else: the order of the keys, blanks, and unknown
// members. The caller has parsed the text with QJsonDocument before.

/// A part of a text.
struct TextSpan {
    qsizetype start = 0;
    qsizetype end = 0;  ///< after its last character
};

/// Finds the value of `key` in `object`, the text of a JSON object. If several members have this key, the last one
/// counts.
[[nodiscard]] bool findMember(const QByteArray& object, const QByteArray& key, TextSpan& value);

/// Finds the elements of the array that starts at `start`; `end` is the offset of its closing bracket.
[[nodiscard]] bool findElements(const QByteArray& text, qsizetype start, QList<TextSpan>& elements, qsizetype& end);

/// Returns `object` with `value`, a JSON text, at `path`, a list of keys from the outer object inward. Missing members
/// are added after the last one.
[[nodiscard]] QByteArray withValue(const QByteArray& object, const QByteArrayList& path, const QByteArray& value);

/// `text` as a JSON string.
[[nodiscard]] QByteArray jsonString(const QString& text);

}  // namespace desktop
