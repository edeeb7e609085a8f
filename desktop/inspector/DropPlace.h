#pragma once

#include <QWidget>

class QPushButton;
class QVBoxLayout;

namespace desktop {

/// An empty page with a framed area that contains an instruction and a button.
class DropPlace : public QWidget {
    Q_OBJECT

  public:
    DropPlace(const QString& invitation, const QString& detail, QWidget* parent = nullptr);

    void setButton(QPushButton* button);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QVBoxLayout* layout_;
};

}  // namespace desktop
