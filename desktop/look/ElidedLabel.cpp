#include "desktop/look/ElidedLabel.h"

#include <QPainter>

namespace desktop {

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
}

void ElidedLabel::setTone(std::optional<ThemeColor> tone) {
    tone_ = tone;
    update();
}

QSize ElidedLabel::minimumSizeHint() const {
    return {0, fontMetrics().height()};
}

void ElidedLabel::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setPen(tone_ ? Theme::color(*tone_) : palette().color(foregroundRole()));
    painter.drawText(rect(), Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     fontMetrics().elidedText(text(), Qt::ElideRight, width()));
}

}  // namespace desktop
