#pragma once

#include <QList>
#include <QString>

namespace produce {

/// A piece of a value that was cut at its placeholders.
struct Piece {
    enum class Kind {
        text,    ///< stays as it is
        serial,  ///< {serial}
        column,  ///< {column:NAME}
        nonce,   ///< {nonce} or {nonce:STEP}
        key,     ///< {key:NAME}
        out,     ///< {out}
    };
    Kind kind = Kind::text;
    QString text;  ///< the text, or the name after the colon; empty for the nonce of the step itself
};

/// Cuts `value` at its placeholders. "{{" and "}}" are literal braces; every other brace belongs to a placeholder.
/// `fault` is one sentence.
[[nodiscard]] bool cutAtPlaceholders(const QString& value, QList<Piece>& pieces, QString& fault);

/// The value that is read as the literal `text`.
[[nodiscard]] QString withLiteralBraces(QString text);

/// Cuts the text of a file that is copied with `expand`. Only {serial} and {column:NAME} in exactly this spelling are
/// placeholders there, since the file may contain braces of its own. `NAME` has no brace and no line break.
[[nodiscard]] QList<Piece> cutFileText(const QString& text);

}  // namespace produce
