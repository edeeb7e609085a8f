#include "desktop/form/VerdictLine.h"

#include "desktop/look/theme.h"

#include <QPainter>
#include <QPainterPath>
#include <QStyle>

namespace {

constexpr int above = 2;

QColor iconColor(Verdict::Kind kind) {
    return Theme::color(kind == Verdict::Kind::good      ? ThemeColor::success
                        : kind == Verdict::Kind::warning ? ThemeColor::warning
                                                         : ThemeColor::fault);
}

/// A cross, a tick, a triangle or a dot within `box`.
void drawIcon(QPainter& painter, Verdict::Kind kind, const QRectF& box) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(box.topLeft());
    painter.scale(box.width(), box.height());
    QPainterPath path;
    switch (kind) {
        case Verdict::Kind::fault:
            path.moveTo(0.2, 0.2);
            path.lineTo(0.8, 0.8);
            path.moveTo(0.8, 0.2);
            path.lineTo(0.2, 0.8);
            break;
        case Verdict::Kind::good:
            path.moveTo(0.1, 0.55);
            path.lineTo(0.4, 0.85);
            path.lineTo(0.9, 0.2);
            break;
        case Verdict::Kind::warning:
            path.addPolygon(QPolygonF({{0.5, 0.1}, {0.95, 0.9}, {0.05, 0.9}, {0.5, 0.1}}));
            break;
        case Verdict::Kind::missing:
            painter.setBrush(iconColor(kind));
            painter.setPen(Qt::NoPen);
            painter.drawEllipse(QPointF(0.5, 0.5), 0.28, 0.28);
            break;
    }
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(iconColor(kind), 0.17, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(path);
    painter.restore();
}

}  // namespace

VerdictLine::VerdictLine(bool keepsRoom, QWidget* parent) : QLabel(parent), keepsRoom_(keepsRoom) {
    QFont smaller = font();
    smaller.setPointSizeF(smaller.pointSizeF() - 1);
    setFont(smaller);
    setTextFormat(Qt::PlainText);
    setWordWrap(true);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    setContentsMargins(fontMetrics().height() + Theme::rowGap() / 2, above, 0, Theme::rowGap());
}

void VerdictLine::setVerdict(const Verdict& verdict) {
    kind_ = verdict.kind;
    setText(verdict.text);
    update();
}

QSize VerdictLine::sizeHint() const {
    return {contentsMargins().left(), leastHeight()};
}

QSize VerdictLine::minimumSizeHint() const {
    return sizeHint();
}

int VerdictLine::heightForWidth(int width) const {
    return text().isEmpty() ? leastHeight() : qMax(leastHeight(), QLabel::heightForWidth(width));
}

void VerdictLine::paintEvent(QPaintEvent* /*event*/) {
    if (text().isEmpty()) {
        return;
    }
    QPainter painter(this);
    const qreal line = fontMetrics().height();
    const qreal size = line * 0.66;
    drawIcon(painter, kind_, {QPointF(2, above + (line - size) / 2), QSizeF(size, size)});
    painter.setPen(kind_ == Verdict::Kind::good ? Theme::color(ThemeColor::quiet) : iconColor(kind_));
    style()->drawItemText(&painter, contentsRect(), Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, palette(),
                          isEnabled(), text());
}

int VerdictLine::leastHeight() const {
    return keepsRoom_ || !text().isEmpty() ? above + fontMetrics().height() + Theme::rowGap() : Theme::rowGap();
}
