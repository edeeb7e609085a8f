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
    QRectF ink;   ///< the rectangle that the glyphs cover
    QRectF clip;  ///< the clip rectangle of the painter; invalid if it doesn't clip
};

/// A paint engine that draws nothing and records the texts.
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

/// A device with the size and resolution of an image. It records texts instead of drawing pixels.
class TextDevice : public QImage {
  public:
    explicit TextDevice(QSize size) : QImage(size, Format_Grayscale8) {}
    [[nodiscard]] QPaintEngine* paintEngine() const override { return &engine_; }
    [[nodiscard]] const QList<DrawnText>& texts() const { return engine_.texts; }

  private:
    mutable TextEngine engine_;
};

/// The part of a widget that the user can see, in its own coordinates. It is unbounded in each direction in which the
/// widget scrolls.
QRectF reachOf(const QWidget& widget) {
    constexpr double endless = 1e6;
    QRectF reach(-endless, -endless, 2 * endless, 2 * endless);
    double beyondX = 0;
    double beyondY = 0;
    for (const QWidget* part = &widget; part != nullptr && !part->isWindow(); part = part->parentWidget()) {
        const auto* area = qobject_cast<const QAbstractScrollArea*>(part->parentWidget());
        if (area != nullptr && area->viewport() == part) {
            // A header scrolls with the scroll bars of its view.
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

/// The clip rectangle of a text. It extends to `reach` at each edge that it shares with the widget.
QRectF roomOf(const QRectF& clip, const QRectF& widget, const QRectF& reach) {
    return {QPointF(clip.left() > widget.left() ? clip.left() : reach.left(),
                    clip.top() > widget.top() ? clip.top() : reach.top()),
            QPointF(clip.right() < widget.right() ? clip.right() : reach.right(),
                    clip.bottom() < widget.bottom() ? clip.bottom() : reach.bottom())};
}

bool isCut(const DrawnText& drawn, const QRectF& widget, const QRectF& reach) {
    constexpr double tolerance = 2;  // smoothing blurs the ends of letters
    const QRectF ink = drawn.ink.adjusted(tolerance, tolerance, -tolerance, -tolerance);
    const QRectF room = drawn.clip.isValid() ? roomOf(drawn.clip, widget, reach).intersected(reach) : reach;
    return ink.isValid() && !room.contains(ink);
}

/// Whether the visible rest of an elided text is useless: an incomplete number, or only the dots.
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
        // The text of a line edit scrolls with the cursor.
        const bool scrolls = qobject_cast<const QLineEdit*>(widget) != nullptr;
        for (const DrawnText& drawn : device.texts()) {
            if ((!scrolls && isCut(drawn, widget->rect(), reach)) || isLost(drawn.text)) {
                faults.append(name + QStringLiteral(" cuts “%1”").arg(drawn.text));
            }
        }
    }
    return faults;
}
