#include "tests/desktop/textRoom.h"

#include <QAbstractScrollArea>
#include <QFontMetricsF>
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPaintEngine>
#include <QPainter>
#include <QRegularExpression>
#include <QScrollBar>
#include <QWidget>

#include <algorithm>

namespace {

struct DrawnText {
    QString text;
    QRectF ink;   ///< what it covers
    QRectF clip;  ///< what of that can be seen at most
};

/// Draws nothing and notes the texts.
class TextEngine : public QPaintEngine {
  public:
    TextEngine() : QPaintEngine(AllFeatures) {}

    bool begin(QPaintDevice* /*device*/) override { return true; }
    bool end() override { return true; }
    void updateState(const QPaintEngineState& now) override { transform_ = now.transform(); }
    void drawPixmap(const QRectF& /*to*/, const QPixmap& /*pixmap*/, const QRectF& /*from*/) override {}
    void drawImage(const QRectF& /*to*/, const QImage& /*image*/, const QRectF& /*from*/,
                   Qt::ImageConversionFlags /*flags*/) override {}
    void drawTiledPixmap(const QRectF& /*to*/, const QPixmap& /*pixmap*/, const QPointF& /*from*/) override {}
    void drawPath(const QPainterPath& /*path*/) override {}
    void drawPolygon(const QPointF* /*points*/, int /*count*/, PolygonDrawMode /*mode*/) override {}
    [[nodiscard]] Type type() const override { return User; }

    void drawTextItem(const QPointF& place, const QTextItem& item) override {
        QPainter* const painter = this->painter();
        const QRectF ink = QFontMetricsF(item.font(), painter->device()).tightBoundingRect(item.text());
        const QRectF clip = painter->hasClipping() ? transform_.mapRect(painter->clipBoundingRect()) : QRectF();
        texts.append({item.text(), transform_.mapRect(ink.translated(place)), clip});
    }

    QList<DrawnText> texts;

  private:
    QTransform transform_;
};

/// As wide and as fine as an image, whose pixels nothing draws.
class TextDevice : public QImage {
  public:
    explicit TextDevice(QSize size) : QImage(size, Format_Grayscale8) {}
    [[nodiscard]] QPaintEngine* paintEngine() const override { return &engine_; }
    [[nodiscard]] const QList<DrawnText>& texts() const { return engine_.texts; }

  private:
    mutable TextEngine engine_;
};

/// What of a widget can be seen, in its own coordinates; a way that can be scrolled is without end.
QRectF reachOf(const QWidget& widget) {
    constexpr double endless = 1e6;
    QRectF reach(-endless, -endless, 2 * endless, 2 * endless);
    double beyondX = 0;
    double beyondY = 0;
    for (const QWidget* part = &widget; part != nullptr && !part->isWindow(); part = part->parentWidget()) {
        const auto* area = qobject_cast<const QAbstractScrollArea*>(part->parentWidget());
        if (area != nullptr && area->viewport() == part) {
            // A header follows the bars of its view.
            const auto* view = qobject_cast<const QAbstractScrollArea*>(area->parentWidget());
            area = qobject_cast<const QHeaderView*>(area) != nullptr && view != nullptr ? view : area;
            beyondX = area->horizontalScrollBar()->maximum() > 0 ? endless : beyondX;
            beyondY = area->verticalScrollBar()->maximum() > 0 ? endless : beyondY;
        }
        const QRectF room(widget.mapFrom(part, QPoint()), part->size());
        reach = reach.intersected(room.adjusted(-beyondX, -beyondY, beyondX, beyondY));
    }
    return reach;
}

/// The place that a text is drawn into, and what can be scrolled beyond an edge that it shares with its widget.
QRectF roomOf(const QRectF& clip, const QRectF& widget, const QRectF& reach) {
    return {QPointF(clip.left() > widget.left() ? clip.left() : reach.left(),
                    clip.top() > widget.top() ? clip.top() : reach.top()),
            QPointF(clip.right() < widget.right() ? clip.right() : reach.right(),
                    clip.bottom() < widget.bottom() ? clip.bottom() : reach.bottom())};
}

bool isCut(const DrawnText& drawn, const QRectF& widget, const QRectF& reach) {
    constexpr double tolerance = 2;  // the ends of letters are a matter of smoothing
    const QRectF ink = drawn.ink.adjusted(tolerance, tolerance, -tolerance, -tolerance);
    const QRectF room = drawn.clip.isValid() ? roomOf(drawn.clip, widget, reach).intersected(reach) : reach;
    return ink.isValid() && !room.contains(ink);
}

/// Whether what is left of an elided text says nothing: a number without all of its digits, or the dots alone.
bool isLost(const QString& text) {
    static const QRegularExpression number(QStringLiteral("^(?=.*[0-9]|…$)[0-9A-Fa-fx.,]*…$"));
    return number.match(text).hasMatch();
}

}  // namespace

QStringList textsWithoutRoom(const QWidget& window) {
    QStringList faults;
    for (QWidget* const widget : window.findChildren<QWidget*>()) {
        if (!widget->isVisible()) {
            continue;
        }
        const QString name = QLatin1String(widget->metaObject()->className()) + u' ' + widget->objectName();
        const auto* const label = qobject_cast<const QLabel*>(widget);
        if ((widget->width() == 0 || widget->height() == 0) && (label == nullptr || !label->text().isEmpty())) {
            faults.append(name + QStringLiteral(" has no size") +
                          (label == nullptr ? QString() : QStringLiteral(" for “%1”").arg(label->text())));
            continue;
        }
        TextDevice device(widget->size());
        widget->render(&device, QPoint(), QRegion(), QWidget::RenderFlags());
        const QRectF reach = reachOf(*widget);
        // The text of a line that is edited scrolls with the cursor.
        const bool scrolls = qobject_cast<const QLineEdit*>(widget) != nullptr;
        for (const DrawnText& drawn : device.texts()) {
            if ((!scrolls && isCut(drawn, widget->rect(), reach)) || isLost(drawn.text)) {
                faults.append(name + QStringLiteral(" cuts “%1”").arg(drawn.text));
            }
        }
    }
    return faults;
}
