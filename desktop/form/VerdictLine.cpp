#include "desktop/form/VerdictLine.h"

#include "desktop/look/Sign.h"
#include "desktop/look/theme.h"

#include <QPainter>
#include <QStyle>

namespace desktop {

namespace {

constexpr int above = 2;

Sign signOf(jobs::Verdict::Kind kind) {
    switch (kind) {
        case jobs::Verdict::Kind::good:
            return Sign::good;
        case jobs::Verdict::Kind::warning:
            return Sign::warning;
        case jobs::Verdict::Kind::missing:
            return Sign::missing;
        case jobs::Verdict::Kind::fault:
            break;
    }
    return Sign::bad;
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

void VerdictLine::setVerdict(const jobs::Verdict& verdict) {
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
    const qreal size = line * 0.8;
    paintSign(painter, {QPointF(2, above + (line - size) / 2), QSizeF(size, size)}, signOf(kind_));
    painter.setPen(kind_ == jobs::Verdict::Kind::good ? Theme::color(ThemeColor::quiet) : signColor(signOf(kind_)));
    style()->drawItemText(&painter, contentsRect(), Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, palette(),
                          isEnabled(), text());
}

int VerdictLine::leastHeight() const {
    return keepsRoom_ || !text().isEmpty() ? above + fontMetrics().height() + Theme::rowGap() : Theme::rowGap();
}

}  // namespace desktop
