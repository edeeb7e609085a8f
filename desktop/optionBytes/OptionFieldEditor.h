#pragma once

#include "devices/Device.h"

#include <QWidget>

#include <optional>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;

namespace desktop {

class ElidedLabel;
class ToneLabel;

/// The editor of one field of a word: number and name, bits, description, and an input widget that fits the field's
/// values.
class OptionFieldEditor : public QWidget {
    Q_OBJECT

  public:
    /// `index` is the field's position among the fields of the word; the picture of the bits shows the same number.
    OptionFieldEditor(const devices::DeviceField& field, int index, int nameWidth, QWidget* parent = nullptr);

    /// Shows the field in these words. Keeps a pending entry while the field's value stays the same.
    void setWords(std::uint32_t value, std::uint32_t saved, std::uint32_t reset);
    void setMarks(bool isChosen, bool isPointed);

    /// Whether the user has typed a value that isn't in the word yet.
    [[nodiscard]] bool hasEntry() const;
    /// Commits the pending entry. If it isn't a value of the field, shows the reason and returns false.
    [[nodiscard]] bool commit();
    void focusEntry();

    /// Puts this field after `before` in the Tab order. Returns the last widget of this field.
    [[nodiscard]] QWidget* tabAfter(QWidget* before);

    /// The lists of a word all get the same width, so that the numbers after them are aligned.
    [[nodiscard]] int choiceWidth() const;
    void setChoiceWidth(int width);

    /// The width that the names of `fields` need.
    [[nodiscard]] static int nameWidthOf(const QList<devices::DeviceField>& fields, const QFont& font);

  signals:
    void edited(std::uint32_t value);  ///< the new value of the field
    void typed();                      ///< hasEntry may have changed
    void entered();                    ///< the field got the focus
    void pointedAt(bool isPointed);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    [[nodiscard]] QWidget* makeEditor();
    void makeChoice();
    void makeNumber();
    void setChoice(std::uint32_t value);
    void showState(std::uint32_t reset, bool keepsHint);
    void showHint();
    [[nodiscard]] QList<QWidget*> editors() const;
    void watch(QWidget* editor, const QString& name);

    devices::DeviceField field_;
    int index_;
    std::uint32_t value_ = 0;
    bool isShown_ = false;
    bool isEdited_ = false;
    bool isChosen_ = false;
    bool isPointed_ = false;
    QString resetText_;
    QCheckBox* check_ = nullptr;
    QComboBox* choice_ = nullptr;
    QLineEdit* number_ = nullptr;
    QLabel* fixed_ = nullptr;
    ToneLabel* bits_;
    ElidedLabel* hint_;
    ToneLabel* meaning_;
};

}  // namespace desktop
