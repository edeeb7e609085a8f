#pragma once

#include <QStringList>
#include <QWidget>

/// What edits the value of one field of a form. It tells what the user does and shows what is said of the value, but
/// judges nothing itself.
class FieldEdit : public QWidget {
    Q_OBJECT

  public:
    using QWidget::QWidget;

    [[nodiscard]] virtual QStringList values() const = 0;
    /// Without a signal.
    virtual void setValues(const QStringList& values) = 0;
    virtual void setEditable(bool editable) = 0;
    /// Makes `text` known to those who hear the form, and a fault seen at the editor itself.
    virtual void describe(const QString& text, bool isFault) = 0;
    /// The part that the label leads to.
    [[nodiscard]] virtual QWidget* first() const = 0;

  signals:
    void edited();                             ///< the value may have changed
    void settled();                            ///< after `edited`: it came whole, chosen or dropped
    void entered();                            ///< a part got the focus
    void left();                               ///< the focus has gone
    void menuAsked(QWidget* part, QPoint at);  ///< `at` on the screen

  protected:
    /// Tells of the focus of `part`. A part calls its field by the name `name` where it is heard.
    void watch(QWidget* part, const QString& name);
    /// A part lost the focus to another widget of the window.
    virtual void leave();

    bool eventFilter(QObject* watched, QEvent* event) override;
};

/// A label without the mark of its mnemonic.
[[nodiscard]] QString plainLabel(const QString& label);
/// A plain label within a sentence: "Firmware file" begins small there, "AES key" doesn't.
[[nodiscard]] QString labelInSentence(const QString& label);
