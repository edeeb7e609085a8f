#pragma once

#include <QStringList>
#include <QWidget>

namespace desktop {

/// The editor of one field of a form. It reports the user's actions and shows the verdict on the value, but judges
/// nothing itself.
class FieldEdit : public QWidget {
    Q_OBJECT

  public:
    using QWidget::QWidget;

    [[nodiscard]] virtual QStringList values() const = 0;
    /// Emits no signal.
    virtual void setValues(const QStringList& values) = 0;
    virtual void setEditable(bool editable) = 0;
    /// Sets the description for screen readers. With `isFault`, the editor has a frame that shows the fault.
    virtual void describe(const QString& text, bool isFault) = 0;
    /// The part that the label's mnemonic focuses.
    [[nodiscard]] virtual QWidget* first() const = 0;

  signals:
    void edited();                             ///< the value may have changed
    void settled();                            ///< the value is complete: Return, a choice, a file chosen or dropped
    void entered();                            ///< a part got the focus
    void left();                               ///< the field lost the focus
    void menuAsked(QWidget* part, QPoint at);  ///< `at` is in screen coordinates

  protected:
    /// Reports the focus and the context menu of `part`, and sets its accessible name to `name`.
    void watch(QWidget* part, const QString& name);
    /// Called when a part loses the focus to another widget of the window.
    virtual void leave();

    bool eventFilter(QObject* watched, QEvent* event) override;
};

/// The label without the "&" of its mnemonic.
[[nodiscard]] QString plainLabel(const QString& label);
/// The plain label as a part of a sentence: "Firmware file" gets a small first letter, "AES key" doesn't.
[[nodiscard]] QString labelInSentence(const QString& label);

}  // namespace desktop
