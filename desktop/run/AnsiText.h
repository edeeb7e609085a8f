#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

/// What a program meant by the colour of a text. The window has colours of its own for these.
enum class TextStyle { plain, grey, detail, success, title, warning, error };

struct StyledText {
    TextStyle style = TextStyle::plain;
    bool restartsLine = false;  ///< it stands in the place of what its line held so far
    QString text;               ///< of control characters it has line feeds and tabs alone
};

/// Makes styled text of the bytes that a program sends to a terminal, however they are cut. Characters and escape
/// sequences may begin in one piece and end in another. Colours become styles, other sequences are dropped, and what
/// would act on a view (controls, marks that turn the direction of writing) is shown by its number. A line feed ends
/// every sequence, so one that never ends can't hide the rest.
class AnsiText {
  public:
    [[nodiscard]] QList<StyledText> take(QByteArrayView bytes);
    /// What is still to be said once nothing follows: the replacement character for half a character.
    [[nodiscard]] QList<StyledText> finish();

  private:
    enum class State {
        text,
        escape,        ///< behind ESC
        control,       ///< behind ESC [
        string,        ///< behind ESC ], P, X, ^ or _
        stringEscape,  ///< behind an ESC in such a string
    };

    void takeText(const QString& text);
    void takeCharacter(QChar character);
    void append(QChar character);
    void appendShown(QChar character);
    void applyColours();

    QByteArray half_;  ///< of a character
    State state_ = State::text;
    TextStyle style_ = TextStyle::plain;
    bool afterReturn_ = false;
    QString parameters_;
    QList<StyledText> made_;
};
