#include "desktop/inspector/VerdictBar.h"

#include "desktop/look/ElidedLabel.h"
#include "desktop/look/plainTip.h"
#include "desktop/look/theme.h"

#include <QHBoxLayout>
#include <QPainter>

namespace desktop {

VerdictBar::VerdictBar(QWidget* parent)
    : QWidget(parent),
      place_(new QWidget),
      headline_(new ElidedLabel),
      detail_(new ElidedLabel),
      row_(new QHBoxLayout(this)) {
    headline_->setObjectName(QStringLiteral("verdict"));
    QFont font = headline_->font();
    font.setPointSizeF(font.pointSizeF() + 2);
    font.setWeight(QFont::DemiBold);
    headline_->setFont(font);
    detail_->setObjectName(QStringLiteral("verdictDetail"));
    detail_->setTone(ThemeColor::quiet);
    const int side = 2 * fontMetrics().height();
    place_->setFixedSize(side, side);

    auto* words = new QVBoxLayout;
    words->setSpacing(Theme::rowGap() / 3);
    words->addWidget(headline_);
    words->addWidget(detail_);
    row_->setContentsMargins(Theme::labelGap(), Theme::labelGap(), Theme::labelGap(), Theme::labelGap());
    row_->setSpacing(Theme::labelGap());
    row_->addWidget(place_);
    row_->addLayout(words, 1);
}

void VerdictBar::setVerdict(const InspectVerdict& verdict) {
    verdict_ = verdict;
    headline_->setText(verdict.headline);
    detail_->setText(verdict.detail);
    setPlainTip(*headline_, verdict.headline);
    setPlainTip(*detail_, verdict.detail);
    setAccessibleName(verdict.headline);
    update();
}

void VerdictBar::addButton(QWidget* button) {
    row_->addWidget(button, 0, Qt::AlignVCenter);
}

void VerdictBar::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor ground = signColor(verdict_.sign);
    ground.setAlphaF(0.09F);
    QColor frame = signColor(verdict_.sign);
    frame.setAlphaF(0.45F);
    painter.setPen(frame);
    painter.setBrush(ground);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
    paintSign(painter, QRectF(place_->geometry()), verdict_.sign);
}

}  // namespace desktop
