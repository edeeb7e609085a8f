#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

namespace desktop {

/// The meaning of a text's colour. The window shows these in colours of its own.
enum class TextStyle { plain, grey, detail, success, title, warning, error };

struct StyledText {
    TextStyle style = TextStyle::plain;
    bool restartsLine = false;  ///< it replaces the text of its line so far
    QString text;               ///< the only control characters are line feeds and tabs
};

/// Converts the bytes that a program sends to a terminal into styled text. Characters and escape sequences may be split
/// between calls. Colours become styles, other sequences are dropped, and characters that would act on a view
/// (controls, direction marks) are shown by their number. A line feed ends every sequence, so an unterminated one can't
/// hide the rest.
class AnsiText {
  public:
    [[nodiscard]] QList<StyledText> take(QByteArrayView bytes);
    /// Returns the rest at the end of the output: the replacement character for an incomplete character.
    [[nodiscard]] QList<StyledText> finish();

  private:
    enum class State {
        text,
        escape,        ///< after ESC
        control,       ///< after ESC [
        string,        ///< after ESC ], P, X, ^ or _
        stringEscape,  ///< after an ESC in such a string
    };

    void takeText(const QString& text);
    void takeCharacter(QChar character);
    void append(QChar character);
    void appendShown(QChar character);
    void applyColours();

    QByteArray half_;  ///< the start of an incomplete character
    State state_ = State::text;
    TextStyle style_ = TextStyle::plain;
    bool afterReturn_ = false;
    QString parameters_;
    QList<StyledText> made_;
};

}  // namespace desktop
