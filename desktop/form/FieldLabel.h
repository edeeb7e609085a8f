#pragma once

#include <QLabel>

namespace desktop {

/// The label of a field, with its mnemonic. A mark shows that the value differs from the initial one.
class FieldLabel : public QLabel {
    Q_OBJECT

  public:
    explicit FieldLabel(const QString& text, QWidget* parent = nullptr);

    [[nodiscard]] bool isChanged() const { return isChanged_; }
    void setChanged(bool isChanged);
    /// Makes the label at least as high as `field`, which is beside it.
    void matchHeight(const QWidget* field);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    bool isChanged_ = false;
};

}  // namespace desktop
