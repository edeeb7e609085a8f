#include "produce/placeholders.h"

#include <algorithm>
#include <array>

namespace produce {

namespace {

struct PlaceholderRow {
    const char* word;
    Piece::Kind kind;
    bool mayStandAlone;  ///< it may occur without a name
    bool mayHaveName;
};

constexpr std::array placeholders = {
    PlaceholderRow{"serial", Piece::Kind::serial, true, false},
    PlaceholderRow{"column", Piece::Kind::column, false, true},
    PlaceholderRow{"nonce", Piece::Kind::nonce, true, true},
    PlaceholderRow{"key", Piece::Kind::key, false, true},
    PlaceholderRow{"out", Piece::Kind::out, true, false},
};

void appendText(QStringView text, QList<Piece>& pieces) {
    if (text.isEmpty()) {
        return;
    }
    if (pieces.isEmpty() || pieces.constLast().kind != Piece::Kind::text) {
        pieces.append(Piece());
    }
    pieces.last().text += text;
}

/// The placeholder with this text between its braces.
bool readPlaceholder(QStringView inside, Piece& piece) {
    const qsizetype colon = inside.indexOf(u':');
    const QStringView word = colon < 0 ? inside : inside.first(colon);
    const QStringView name = colon < 0 ? QStringView() : inside.sliced(colon + 1);
    const auto row = std::find_if(placeholders.begin(), placeholders.end(), [&word](const PlaceholderRow& candidate) {
        return word == QLatin1String(candidate.word);
    });
    if (row == placeholders.end() || (colon < 0 ? !row->mayStandAlone : !row->mayHaveName || name.isEmpty())) {
        return false;
    }
    piece = {row->kind, name.toString()};
    return true;
}

}  // namespace

bool cutAtPlaceholders(const QString& value, QList<Piece>& pieces, QString& fault) {
    QList<Piece> found;
    const QStringView text(value);
    qsizetype at = 0;
    while (at < text.size()) {
        const qsizetype brace =
            std::find_if(text.begin() + at, text.end(), [](QChar c) { return c == u'{' || c == u'}'; }) - text.begin();
        appendText(text.sliced(at, brace - at), found);
        if (brace == text.size()) {
            break;
        }
        if (brace + 1 < text.size() && text.at(brace + 1) == text.at(brace)) {
            appendText(text.sliced(brace, 1), found);
            at = brace + 2;
            continue;
        }
        const qsizetype end = text.at(brace) == u'{' ? text.indexOf(u'}', brace) : -1;
        if (end < 0) {
            fault = QStringLiteral("A brace has no partner; a literal brace is written twice, as {{ or }}.");
            return false;
        }
        Piece piece;
        if (!readPlaceholder(text.sliced(brace + 1, end - brace - 1), piece)) {
            fault = QStringLiteral(
                        "%1 isn't a placeholder; those are {serial}, {column:NAME}, {nonce}, {nonce:STEP}, {key:NAME} "
                        "and {out}, and a literal brace is written twice.")
                        .arg(text.sliced(brace, end - brace + 1));
            return false;
        }
        found.append(piece);
        at = end + 1;
    }
    pieces = found;
    return true;
}

QString withLiteralBraces(QString text) {
    return text.replace(u'{', QLatin1String("{{")).replace(u'}', QLatin1String("}}"));
}

QList<Piece> cutFileText(const QString& text) {
    constexpr qsizetype longestPlaceholder = 256;  // bounds the search for the end of a placeholder
    constexpr QLatin1String serial("{serial}");
    constexpr QLatin1String column("{column:");
    QList<Piece> pieces;
    const QStringView all(text);
    qsizetype kept = 0;
    for (qsizetype at = all.indexOf(u'{'); at >= 0; at = all.indexOf(u'{', at)) {
        const QStringView rest = all.sliced(at, std::min(all.size() - at, longestPlaceholder));
        const qsizetype end = rest.indexOf(u'}');
        const QStringView name = rest.startsWith(column) && end > column.size()
                                     ? rest.sliced(column.size(), end - column.size())
                                     : QStringView();
        const bool isColumn = !name.isEmpty() && !name.contains(u'{') && !name.contains(u'\n');
        if (!isColumn && !rest.startsWith(serial)) {
            ++at;
            continue;
        }
        appendText(all.sliced(kept, at - kept), pieces);
        pieces.append(isColumn ? Piece{Piece::Kind::column, name.toString()} : Piece{Piece::Kind::serial, {}});
        at += end + 1;
        kept = at;
    }
    appendText(all.sliced(kept), pieces);
    return pieces;
}

}  // namespace produce
