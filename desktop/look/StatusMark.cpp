#include "desktop/look/StatusMark.h"

#include "desktop/look/theme.h"

#include <QPainter>
#include <QPainterPath>

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
    painter.setRenderHint(QPainter::Antialiasing);
    // Drawn on a square of 16 units.
    painter.scale(width() / 16.0, height() / 16.0);
    const auto filledCircle = [&painter](ThemeColor color) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::color(color));
        painter.drawEllipse(QRectF(1, 1, 14, 14));
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(Theme::color(ThemeColor::panel), 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    };
    switch (kind_) {
        case Kind::none:
            break;
        case Kind::open:
            painter.setPen(QPen(Theme::color(ThemeColor::warning), 1.6));
            painter.drawEllipse(QRectF(2, 2, 12, 12));
            painter.setPen(QPen(Theme::color(ThemeColor::warning), 2, Qt::SolidLine, Qt::RoundCap));
            painter.drawLine(QPointF(8, 5), QPointF(8, 8.5));
            painter.drawPoint(QPointF(8, 11.2));
            break;
        case Kind::running:
            painter.setPen(QPen(Theme::color(ThemeColor::line), 2));
            painter.drawEllipse(QRectF(2, 2, 12, 12));
            painter.setPen(QPen(Theme::color(ThemeColor::accent), 2, Qt::SolidLine, Qt::RoundCap));
            painter.drawArc(QRectF(2, 2, 12, 12), (90 - angle_) * 16, -100 * 16);
            break;
        case Kind::good: {
            filledCircle(ThemeColor::success);
            QPainterPath tick(QPointF(4.6, 8.3));
            tick.lineTo(7.1, 10.8);
            tick.lineTo(11.6, 5.6);
            painter.drawPath(tick);
            break;
        }
        case Kind::bad:
            filledCircle(ThemeColor::fault);
            painter.drawLine(QPointF(5.4, 5.4), QPointF(10.6, 10.6));
            painter.drawLine(QPointF(10.6, 5.4), QPointF(5.4, 10.6));
            break;
        case Kind::stopped:
            filledCircle(ThemeColor::quiet);
            painter.fillRect(QRectF(5.5, 5.5, 5, 5), Theme::color(ThemeColor::panel));
            break;
    }
}
