#pragma once

#include <QList>
#include <QWidget>

class QLabel;
class QLineEdit;
class QPushButton;
class QScrollArea;

namespace desktop {

class BitView;
class ElidedLabel;
class OptionByteDocument;
class OptionFieldEditor;
class ToneLabel;

/// The editor of one word of a table: the picture of its bits, its value, and its fields.
class OptionWordEditor : public QWidget {
    Q_OBJECT

  public:
    explicit OptionWordEditor(OptionByteDocument& document, QWidget* parent = nullptr);

    /// Shows another word, or none for -1.
    void setWord(qsizetype word);
    /// Whether the user has typed a value that isn't in the table yet.
    [[nodiscard]] bool hasEntry() const;
    /// Commits the pending entry. If it is wrong, shows the reason next to it, focuses it and returns false.
    [[nodiscard]] bool commit();

  signals:
    void typed();  ///< hasEntry may have changed

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    [[nodiscard]] QWidget* makeWordRow();
    void makeFields();
    void refresh();
    void enter(int part);
    void point(int field);
    [[nodiscard]] QString wordText() const;
    [[nodiscard]] bool commitWord();

    OptionByteDocument& document_;
    qsizetype word_ = -1;
    int part_ = -1;
    ElidedLabel* name_;
    ToneLabel* place_;
    ToneLabel* description_;
    ToneLabel* remark_;
    BitView* bits_;
    QLineEdit* number_;
    ElidedLabel* reason_;
    QLabel* reset_;
    QPushButton* setReset_;
    QScrollArea* area_;
    QList<OptionFieldEditor*> fields_;
};

}  // namespace desktop
