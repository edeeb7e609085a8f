#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

namespace record {

/// How deep objects and arrays may nest, and how many values one text may have. They bound the memory that a parsed
/// text needs.
inline constexpr int mostJsonLevels = 16;
inline constexpr qsizetype mostJsonValues = qsizetype{1} << 20;

/// Writes canonical JSON (RFC 8785) of strings, booleans, nulls, arrays, objects and integers below 2^53. Any other
/// number, a string with half a surrogate pair, or more than `mostJsonLevels` levels give an empty result.
[[nodiscard]] QByteArray canonicalJson(const QJsonValue& value);

/// Parses a canonical object. False for any other text, also for an object that is written in another form, for one
/// with a member twice, and for one beyond the limits above. `fault` is the reason: the rest of a sentence that begins
/// with the name of the text.
[[nodiscard]] bool parseCanonicalJson(QByteArrayView text, QJsonObject& object, QString& fault);

}  // namespace record
