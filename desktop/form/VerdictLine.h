#pragma once

#include "jobs/Verdict.h"

#include <QLabel>

/// The line below a field: an icon and what is to be said of the value.
class VerdictLine : public QLabel {
    Q_OBJECT

  public:
    /// `keepsRoom` if the line has its height while it is empty too, so that nothing moves when it speaks.
    explicit VerdictLine(bool keepsRoom, QWidget* parent = nullptr);

    [[nodiscard]] bool keepsRoom() const { return keepsRoom_; }
    void tell(const Verdict& verdict);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] int heightForWidth(int width) const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    [[nodiscard]] int leastHeight() const;

    bool keepsRoom_;
    Verdict::Kind kind_ = Verdict::Kind::good;
};
