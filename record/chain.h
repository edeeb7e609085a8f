#pragma once

#include "record/canonicalJson.h"

#include <QByteArray>
#include <QJsonObject>

// The lines of a production record. Each is a JSON object in the canonical form of RFC 8785 and has two members that
// chain it: "number", from 1, and "previous", the SHA-256 of the line before without its line break (64 lower-case
// digits; for the first line 64 zeros). docs/record.md has the whole format.

namespace record {

/// The last line of a record.
struct ChainHead {
    qint64 number = 0;
    QByteArray hash;  ///< 32 bytes; empty if there is no line
};

/// The value of "previous" in the line after `head`.
[[nodiscard]] QString previousOf(const ChainHead& head);

/// Advances `head` over `line`, which has no line break. False, with `head` unchanged, if the digest can't be computed.
[[nodiscard]] bool advance(ChainHead& head, QByteArrayView line);

/// Adds the members of the chain to `body`, returns the line without a line break, and advances `head`. The result is
/// empty, and `head` unchanged, if `body` has no canonical form. The caller checks the members of `body` by
/// lineFault().
[[nodiscard]] QByteArray nextLine(QJsonObject body, ChainHead& head);

}  // namespace record
