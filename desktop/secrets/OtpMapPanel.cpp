#include "desktop/secrets/OtpMapPanel.h"

#include "desktop/look/ToneLabel.h"
#include "desktop/secrets/OtpMapView.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QScrollArea>

namespace desktop {

namespace {

/// An entry of the key: the look of a word, followed by its meaning.
class MapKey : public QWidget {
  public:
    MapKey(devices::OtpUse use, bool mustBeFilled, const QString& text)
        : use_(use), mustBeFilled_(mustBeFilled), text_(text) {
        setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    }

    [[nodiscard]] QSize sizeHint() const override {
        const QFontMetrics metrics(font());
        return {metrics.horizontalAdvance(text_) + metrics.height() + Theme::rowGap() + 1, metrics.height() + 2};
    }

  protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        const int side = QFontMetrics(font()).height() - 4;
        const QRect box(0, (height() - side) / 2, side, side);
        OtpMapView::paintWord(painter, box, use_);
        if (mustBeFilled_) {
            OtpMapView::paintMark(painter, box);
        }
        painter.setPen(Theme::color(use_ == devices::OtpUse::undescribed ? ThemeColor::line : ThemeColor::quiet));
        painter.drawRect(box);
        painter.setPen(Theme::color(ThemeColor::quiet));
        painter.drawText(rect().adjusted(side + Theme::rowGap(), 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter, text_);
    }

  private:
    devices::OtpUse use_;
    bool mustBeFilled_;
    QString text_;
};

}  // namespace

OtpMapPanel::OtpMapPanel(QWidget* parent)
    : QWidget(parent), view_(new OtpMapView), description_(new ToneLabel(ThemeColor::quiet)) {
    auto* title = new QLabel(tr("OTP words"));
    QFont bold = title->font();
    bold.setWeight(QFont::DemiBold);
    title->setFont(bold);
    auto* keys = new QHBoxLayout;
    keys->setSpacing(Theme::labelGap());
    keys->addWidget(title);
    keys->addStretch(1);
    keys->addWidget(new MapKey(devices::OtpUse::used, false, tr("filled")));
    keys->addWidget(new MapKey(devices::OtpUse::free, true, tr("to be filled")));
    keys->addWidget(new MapKey(devices::OtpUse::free, false, tr("free")));
    keys->addWidget(new MapKey(devices::OtpUse::undescribed, false, tr("not described")));
    keys->addWidget(new MapKey(devices::OtpUse::collision, false, tr("collision")));

    view_->setObjectName(QStringLiteral("map"));
    view_->setAccessibleName(tr("Map of the OTP words"));
    auto* area = new QScrollArea;
    area->setWidget(view_);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFocusPolicy(Qt::NoFocus);

    description_->setObjectName(QStringLiteral("wordDescription"));
    description_->setWordWrap(false);
    description_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addLayout(keys);
    layout->addWidget(area, 1);
    layout->addWidget(description_);
    connect(view_, &OtpMapView::pointedAt, this, &OtpMapPanel::showWord);
    connect(view_, &OtpMapView::cursorMoved, area,
            [area](const QRect& cell) { area->ensureVisible(cell.center().x(), cell.center().y(), 0, cell.height()); });
    showWord(QString());
}

void OtpMapPanel::showWord(const QString& description) {
    description_->setText(description.isEmpty() ? tr("Point at a word, or go to it with the arrow keys.")
                                                : description);
    view_->setAccessibleDescription(description.isEmpty() ? view_->summary() : description + u' ' + view_->summary());
}

}  // namespace desktop
