#pragma once

#include <QLabel>

/// The label of a field, with its mnemonic. It marks a value that isn't the one that the field began with.
class FieldLabel : public QLabel {
    Q_OBJECT

  public:
    explicit FieldLabel(const QString& text, QWidget* parent = nullptr);

    [[nodiscard]] bool isChanged() const { return isChanged_; }
    void setChanged(bool isChanged);
    /// At least as high as the field that it stands beside.
    void standBeside(const QWidget* field);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    bool isChanged_ = false;
};
