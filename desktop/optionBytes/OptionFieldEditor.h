#pragma once

#include "devices/Device.h"

#include <QWidget>

#include <optional>

class ElidedLabel;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class ToneLabel;

/// One field of a word: number and name, bits, description, and an editor that fits what it can hold.
class OptionFieldEditor : public QWidget {
    Q_OBJECT

  public:
    /// `index` is its place among the fields, which the picture of the bits shows as well.
    OptionFieldEditor(const DeviceField& field, int index, int nameWidth, QWidget* parent = nullptr);

    /// Shows the field of these words. What was typed stays as long as the field's value does.
    void setWords(std::uint32_t value, std::uint32_t saved, std::uint32_t reset);
    void setMarks(bool isChosen, bool isPointed);

    /// Whether something was typed that isn't in the word yet.
    [[nodiscard]] bool hasEntry() const;
    /// Takes over what was typed. False if it is no value of the field, which is then told.
    [[nodiscard]] bool commit();
    void focusEntry();

    /// Goes to this field by Tab after `before`. Gives what comes before the next one.
    [[nodiscard]] QWidget* tabBehind(QWidget* before);

    /// Lists of one word have one width, so that the numbers behind them stand in a column.
    [[nodiscard]] int choiceWidth() const;
    void setChoiceWidth(int width);

    /// The width that the names of `fields` want.
    [[nodiscard]] static int nameWidthOf(const QList<DeviceField>& fields, const QFont& font);

  signals:
    void edited(std::uint32_t value);  ///< of the field
    void typed();                      ///< hasEntry may have changed
    void entered();                    ///< has the focus
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
    void tellState(std::uint32_t reset, bool keepsHint);
    void showHint();
    [[nodiscard]] QList<QWidget*> editors() const;
    void watch(QWidget* editor, const QString& name);

    DeviceField field_;
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
