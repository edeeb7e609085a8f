#pragma once

#include <QWidget>

class QPushButton;
class QVBoxLayout;

/// An empty page that tells the user what to do: a framed area with a text and a button.
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
