#include "desktop/look/fieldFrame.h"

#include <QPainter>
#include <QWidget>

namespace desktop {

void paintFieldFrame(QWidget& part, ThemeColor color, double width) {
    constexpr double roundness = 3;  // like the frame that it covers
    QPainter painter(&part);
    painter.setRenderHint(QPainter::Antialiasing);
    const double half = width / 2;
    painter.setPen(QPen(Theme::color(color), width));
    painter.drawRoundedRect(QRectF(part.rect()).adjusted(half, half, -half, -half), roundness, roundness);
}

}  // namespace desktop
