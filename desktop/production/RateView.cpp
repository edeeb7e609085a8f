#include "desktop/production/RateView.h"

#include "desktop/look/theme.h"

#include <QLocale>
#include <QPainter>

#include <algorithm>

namespace desktop {

RateView::RateView(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void RateView::show(const QList<RateBar>& bars) {
    bars_ = bars;
    qint64 most = 0;
    qint64 all = 0;
    for (const RateBar& bar : bars) {
        most = std::max(most, bar.total());
        all += bar.total();
    }
    setAccessibleName(tr("Attempts over time"));
    setAccessibleDescription(bars.isEmpty() ? tr("No device has come to its end yet.")
                                            : tr("%1 attempts from %2 to %3, at most %4 in an interval")
                                                  .arg(QLocale().toString(all), bars.constFirst().start,
                                                       bars.constLast().start, QLocale().toString(most)));
    update();
}

QSize RateView::sizeHint() const {
    return {40 * fontMetrics().averageCharWidth(), 8 * fontMetrics().height()};
}

void RateView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    const int lineHeight = fontMetrics().height();
    const QRect area = rect().adjusted(0, lineHeight, 0, -lineHeight - Theme::rowGap() / 2);
    const auto biggest = std::max_element(bars_.begin(), bars_.end(), [](const RateBar& left, const RateBar& right) {
        return left.total() < right.total();
    });
    painter.setPen(Theme::color(ThemeColor::quiet));
    if (biggest == bars_.end() || biggest->total() == 0) {
        painter.drawText(rect(), Qt::AlignLeft | Qt::AlignTop, tr("No device has come to its end yet."));
        return;
    }
    const qint64 most = biggest->total();
    painter.drawText(QRect(0, 0, width(), lineHeight), Qt::AlignLeft,
                     tr("at most %1 in an interval").arg(QLocale().toString(most)));
    const QRect labels(0, area.bottom() + Theme::rowGap() / 2, width(), lineHeight);
    painter.drawText(labels, Qt::AlignLeft, bars_.constFirst().start);
    if (bars_.size() > 1) {
        painter.drawText(labels, Qt::AlignRight, bars_.constLast().start);
    }
    painter.fillRect(QRect(area.left(), area.bottom(), area.width(), 1), Theme::color(ThemeColor::line));
    const double step = static_cast<double>(area.width()) / static_cast<double>(bars_.size());
    const double barWidth = std::clamp(step * 0.8, 1.0, 3.0 * lineHeight);
    for (qsizetype i = 0; i < bars_.size(); ++i) {
        const RateBar& bar = bars_.at(i);
        double bottom = area.bottom();
        const auto part = [&](qint64 count, const QBrush& brush) {
            const double height = area.height() * static_cast<double>(count) / static_cast<double>(most);
            bottom -= height;
            painter.fillRect(QRectF(area.left() + static_cast<double>(i) * step, bottom, barWidth, height), brush);
        };
        part(bar.proven, Theme::color(ThemeColor::success));
        part(bar.other, Theme::color(ThemeColor::warning));
        part(bar.failed, QBrush(Theme::color(ThemeColor::fault), Qt::Dense3Pattern));
    }
}

}  // namespace desktop
