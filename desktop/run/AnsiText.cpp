#include "desktop/run/AnsiText.h"

#include <array>
#include <utility>

namespace desktop {

namespace {

constexpr char16_t escapeCharacter = 0x1B;
constexpr qsizetype maxParameters = 64;

// The styles of the colours in escape sequences: first the eight normal ones (30 to 37), then the bright ones (90 to
// 97). The tool prints errors in bright red, successes in bright green, warnings in bright yellow, titles in bright
// cyan, details in cyan and secondary texts in white.
constexpr std::array colourStyles = {
    TextStyle::plain,  TextStyle::error, TextStyle::success, TextStyle::warning, TextStyle::title,   TextStyle::title,
    TextStyle::detail, TextStyle::grey,  TextStyle::grey,    TextStyle::error,   TextStyle::success, TextStyle::warning,
    TextStyle::title,  TextStyle::title, TextStyle::title,   TextStyle::plain,
};

// Whether a view would act on the character instead of drawing it: controls, other line separators, direction marks,
// and characters that a text document reserves.
bool actsOnView(QChar character) {
    const char16_t code = character.unicode();
    return (code < 0x20 && code != u'\n' && code != u'\t') || (code >= 0x7F && code < 0xA0) ||
           (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069) || code == 0x200E ||
           code == 0x200F || code == 0x061C || (code >= 0xFDD0 && code <= 0xFDEF) || code == 0xFEFF || code == 0xFFFC ||
           code >= 0xFFFE;
}

// The number of bytes at the end that start an incomplete UTF-8 character. QStringDecoder can keep them too, but it
// loses the following byte if they are invalid.
qsizetype halfCharacter(QByteArrayView bytes) {
    for (qsizetype back = 1; back <= qMin<qsizetype>(3, bytes.size()); ++back) {
        const auto byte = static_cast<unsigned char>(bytes.at(bytes.size() - back));
        if ((byte & 0xC0) != 0x80) {
            const qsizetype length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
            return back < length ? back : 0;
        }
    }
    return 0;
}

}  // namespace

QList<StyledText> AnsiText::take(QByteArrayView bytes) {
    half_.append(bytes.data(), bytes.size());
    const QByteArray all = std::exchange(half_, {});
    const qsizetype whole = all.size() - halfCharacter(all);
    half_ = all.sliced(whole);
    takeText(QString::fromUtf8(all.constData(), whole));
    return std::exchange(made_, {});
}

QList<StyledText> AnsiText::finish() {
    takeText(QString::fromUtf8(std::exchange(half_, {})));
    state_ = State::text;
    style_ = TextStyle::plain;
    afterReturn_ = false;
    return std::exchange(made_, {});
}

void AnsiText::takeText(const QString& text) {
    for (const QChar character : text) {
        takeCharacter(character);
    }
}

void AnsiText::takeCharacter(QChar character) {
    const char16_t code = character.unicode();
    if (code == u'\n') {
        state_ = State::text;
        afterReturn_ = false;
        append(character);
        return;
    }
    switch (state_) {
        case State::text:
            if (code == escapeCharacter) {
                state_ = State::escape;
            } else if (code == u'\r') {
                afterReturn_ = true;
            } else if (actsOnView(character)) {
                appendShown(character);
            } else {
                append(character);
            }
            break;
        case State::escape:
            if (code == u'[') {
                parameters_.clear();
                state_ = State::control;
            } else if (QStringView(u"]PX^_").contains(character)) {
                state_ = State::string;
            } else if (code != escapeCharacter && (code < 0x20 || code > 0x2F)) {
                state_ = State::text;  // the end of a sequence of two or three characters
            }
            break;
        case State::control:
            if (code >= 0x20 && code <= 0x3F) {
                if (parameters_.size() < maxParameters) {
                    parameters_.append(character);
                }
                break;
            }
            if (code == u'm' && parameters_.size() < maxParameters) {
                applyColours();
            }
            state_ = code == escapeCharacter ? State::escape : State::text;
            break;
        case State::string:
            if (code == escapeCharacter) {
                state_ = State::stringEscape;
            } else if (code == 0x07) {
                state_ = State::text;
            }
            break;
        case State::stringEscape:
            state_ = code == u'\\' ? State::text : code == escapeCharacter ? State::stringEscape : State::string;
            break;
    }
}

void AnsiText::append(QChar character) {
    const bool restarts = std::exchange(afterReturn_, false);
    if (made_.isEmpty() || restarts || made_.constLast().style != style_) {
        made_.append({style_, restarts, QString()});
    }
    made_.last().text.append(character);
}

void AnsiText::appendShown(QChar character) {
    const int code = character.unicode();
    const QString number = QString::number(code, 16).toUpper();  // the same notation as the tool's
    const QString shown = code < 0x100 ? QStringLiteral("\\x%1").arg(number.rightJustified(2, u'0'))
                                       : QStringLiteral("\\u%1").arg(number.rightJustified(4, u'0'));
    for (const QChar sign : shown) {
        append(sign);
    }
}

void AnsiText::applyColours() {
    for (const QString& text : parameters_.split(u';')) {
        bool isNumber = text.isEmpty();  // an empty parameter means 0
        const uint number = isNumber ? 0 : text.toUInt(&isNumber);
        if (!isNumber || number == 38 || number == 48) {
            return;  // the next numbers are the components of a colour, which has no style
        }
        if (number == 0 || number == 39) {
            style_ = TextStyle::plain;
        } else if (number >= 30 && number <= 37) {
            style_ = colourStyles[number - 30];
        } else if (number >= 90 && number <= 97) {
            style_ = colourStyles[number - 90 + 8];
        }
    }
}

}  // namespace desktop
