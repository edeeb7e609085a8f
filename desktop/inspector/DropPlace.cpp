#include "desktop/inspector/DropPlace.h"

#include "desktop/look/theme.h"

#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

namespace desktop {

DropPlace::DropPlace(const QString& invitation, const QString& detail, QWidget* parent)
    : QWidget(parent), layout_(new QVBoxLayout(this)) {
    auto* headline = new QLabel(invitation);
    headline->setTextFormat(Qt::PlainText);
    headline->setAlignment(Qt::AlignCenter);
    headline->setFont(Theme::headlineFont());
    headline->setWordWrap(true);
    auto* words = new QLabel(detail);
    words->setTextFormat(Qt::PlainText);
    words->setAlignment(Qt::AlignCenter);
    words->setWordWrap(true);
    words->setForegroundRole(QPalette::PlaceholderText);
    const int width = fontMetrics().averageCharWidth() * 64;
    words->setFixedWidth(width);
    words->setMinimumHeight(words->heightForWidth(width));
    layout_->setContentsMargins(Theme::groupGap() * 2, Theme::groupGap(), Theme::groupGap() * 2, Theme::groupGap() * 2);
    layout_->setSpacing(Theme::labelGap());
    layout_->addStretch(2);
    layout_->addWidget(headline);
    layout_->addWidget(words, 0, Qt::AlignHCenter);
    layout_->addStretch(3);
}

void DropPlace::setButton(QPushButton* button) {
    layout_->insertSpacing(layout_->count() - 1, Theme::rowGap());
    layout_->insertWidget(layout_->count() - 1, button, 0, Qt::AlignHCenter);
}

void DropPlace::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPen pen(Theme::color(ThemeColor::line), 2, Qt::DashLine);
    painter.setPen(pen);
    const int gap = Theme::groupGap();
    painter.drawRoundedRect(QRectF(rect()).adjusted(gap, Theme::rowGap(), -gap, -gap), 8, 8);
}

}  // namespace desktop
