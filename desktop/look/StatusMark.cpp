#include "desktop/look/StatusMark.h"

#include "desktop/look/Sign.h"
#include "desktop/look/theme.h"

#include <QPainter>

namespace desktop {

StatusMark::StatusMark(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    constexpr int turnEvery = 80;  // milliseconds
    turning_.setInterval(turnEvery);
    connect(&turning_, &QTimer::timeout, this, [this] {
        angle_ = (angle_ + 30) % 360;
        update();
    });
}

void StatusMark::show(Kind kind) {
    kind_ = kind;
    if (kind != Kind::running) {
        turning_.stop();
    } else if (!turning_.isActive()) {
        turning_.start();
    }
    update();
}

StatusMark::Kind StatusMark::kind() const {
    return kind_;
}

QSize StatusMark::sizeHint() const {
    const int side = fontMetrics().height();
    return {side, side};
}

void StatusMark::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    if (kind_ != Kind::running && kind_ != Kind::stopped) {
        paintSign(painter, rect(),
                  kind_ == Kind::good   ? Sign::good
                  : kind_ == Kind::bad  ? Sign::bad
                  : kind_ == Kind::open ? Sign::warning
                                        : Sign::none);
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(width() / 16.0, height() / 16.0);  // drawn on a square of 16 units
    if (kind_ == Kind::running) {
        painter.setPen(QPen(Theme::color(ThemeColor::line), 2));
        painter.drawEllipse(QRectF(2, 2, 12, 12));
        painter.setPen(QPen(Theme::color(ThemeColor::accent), 2, Qt::SolidLine, Qt::RoundCap));
        painter.drawArc(QRectF(2, 2, 12, 12), (90 - angle_) * 16, -100 * 16);
    } else {
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::color(ThemeColor::quiet));
        painter.drawEllipse(QRectF(1, 1, 14, 14));
        painter.fillRect(QRectF(5.5, 5.5, 5, 5), Theme::color(ThemeColor::panel));
    }
}

}  // namespace desktop
