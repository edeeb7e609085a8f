#pragma once

#include "jobs/Verdict.h"

#include <QLabel>

namespace desktop {

/// The line below a field: an icon and the text of the verdict on its value.
class VerdictLine : public QLabel {
    Q_OBJECT

  public:
    /// With `keepsRoom` an empty line has the height of a line of text, so that nothing moves when a text appears.
    explicit VerdictLine(bool keepsRoom, QWidget* parent = nullptr);

    [[nodiscard]] bool keepsRoom() const { return keepsRoom_; }
    void setVerdict(const jobs::Verdict& verdict);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] int heightForWidth(int width) const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    [[nodiscard]] int leastHeight() const;

    bool keepsRoom_;
    jobs::Verdict::Kind kind_ = jobs::Verdict::Kind::good;
};

}  // namespace desktop
