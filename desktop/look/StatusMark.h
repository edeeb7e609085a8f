#pragma once

#include <QTimer>
#include <QWidget>

namespace desktop {

/// The sign beside the text of a status. Its shape shows the status without colour.
class StatusMark : public QWidget {
    Q_OBJECT

  public:
    enum class Kind { none, open, running, good, bad, stopped };

    explicit StatusMark(QWidget* parent = nullptr);

    void show(Kind kind);
    [[nodiscard]] Kind kind() const;

    [[nodiscard]] QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    Kind kind_ = Kind::none;
    QTimer turning_;
    int angle_ = 0;
};

}  // namespace desktop
