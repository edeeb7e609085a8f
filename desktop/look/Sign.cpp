#include "desktop/look/Sign.h"

#include "desktop/look/theme.h"

#include <QApplication>
#include <QIconEngine>
#include <QPainter>

#include <array>

namespace desktop {

QColor signColor(Sign sign) {
    switch (sign) {
        case Sign::good:
            return Theme::color(ThemeColor::success);
        case Sign::bad:
        case Sign::missing:
            return Theme::color(ThemeColor::fault);
        case Sign::unknown:
        case Sign::warning:
            return Theme::color(ThemeColor::warning);
        default:
            return Theme::color(ThemeColor::quiet);
    }
}

namespace {

QPolygonF octagon(const QRectF& rect) {
    const double cut = rect.width() * 0.29;
    const double left = rect.left();
    const double right = rect.right();
    const double top = rect.top();
    const double bottom = rect.bottom();
    return QPolygonF(QList<QPointF>{{left + cut, top},
                                    {right - cut, top},
                                    {right, top + cut},
                                    {right, bottom - cut},
                                    {right - cut, bottom},
                                    {left + cut, bottom},
                                    {left, bottom - cut},
                                    {left, top + cut}});
}

void paintLines(QPainter& painter, const QRectF& rect, const QList<QPolygonF>& lines) {
    for (const QPolygonF& line : lines) {
        QPolygonF placed;
        for (const QPointF& point : line) {
            placed.append(QPointF(rect.left() + point.x() * rect.width(), rect.top() + point.y() * rect.height()));
        }
        painter.drawPolyline(placed);
    }
}

class SignEngine : public QIconEngine {
  public:
    explicit SignEngine(Sign sign) : sign_(sign) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State /*state*/) override {
        if (mode == QIcon::Selected) {  // on the colour of a chosen row
            painter->setRenderHint(QPainter::Antialiasing);
            painter->setPen(Qt::NoPen);
            painter->setBrush(QApplication::palette().base());
            painter->drawEllipse(QRectF(rect));
        }
        paintSign(*painter, QRectF(rect), sign_);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        QPixmap picture(size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        paint(&painter, QRect(QPoint(0, 0), size), mode, state);
        return picture;
    }
    [[nodiscard]] QIconEngine* clone() const override { return new SignEngine(sign_); }

  private:
    Sign sign_;
};

}  // namespace

void paintTick(QPainter& painter, const QRectF& square) {
    paintLines(painter, square, {QPolygonF(QList<QPointF>{{0.27, 0.53}, {0.44, 0.69}, {0.74, 0.34}})});
}

void paintSign(QPainter& painter, const QRectF& rect, Sign sign) {
    if (sign == Sign::none) {
        return;
    }
    const double side = qMin(rect.width(), rect.height());
    QRectF square(0, 0, side * 0.88, side * 0.88);
    square.moveCenter(rect.center());
    const QColor color = signColor(sign);
    if (sign == Sign::missing) {
        square.setSize(square.size() / 2);
        square.moveCenter(rect.center());
    }
    const bool isFilled = sign == Sign::good || sign == Sign::bad || sign == Sign::missing;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    QPen pen(color, qMax(1.2, side / 11), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(isFilled ? Qt::NoPen : pen);
    painter.setBrush(isFilled ? QBrush(color) : Qt::NoBrush);
    if (sign == Sign::bad) {
        painter.drawPolygon(octagon(square));
    } else if (isFilled) {
        painter.drawEllipse(square);
    } else {
        const double half = pen.widthF() / 2;
        painter.drawEllipse(square.adjusted(half, half, -half, -half));
    }
    pen.setColor(isFilled ? Theme::color(ThemeColor::onAccent) : color);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    if (sign == Sign::good) {
        paintTick(painter, square);
    } else if (sign == Sign::bad) {
        paintLines(painter, square,
                   {QPolygonF(QList<QPointF>{{0.32, 0.32}, {0.68, 0.68}}),
                    QPolygonF(QList<QPointF>{{0.68, 0.32}, {0.32, 0.68}})});
    } else if (!isFilled) {
        QFont font = painter.font();
        font.setPixelSize(qMax(6, static_cast<int>(side * 0.62)));
        font.setWeight(QFont::Bold);
        painter.setFont(font);
        const QString letter = sign == Sign::unknown   ? QStringLiteral("?")
                               : sign == Sign::warning ? QStringLiteral("!")
                               : sign == Sign::note    ? QStringLiteral("i")
                                                       : QStringLiteral("…");
        painter.drawText(square, Qt::AlignCenter, letter);
    }
    painter.restore();
}

QIcon signIcon(Sign sign) {
    return sign == Sign::none ? QIcon() : QIcon(new SignEngine(sign));
}

}  // namespace desktop
