#include "desktop/look/ThemeStyle.h"

#include "desktop/look/Sign.h"
#include "desktop/look/theme.h"

#include <QPainter>
#include <QStyleFactory>
#include <QStyleOption>
#include <QWidget>

namespace desktop {

namespace {

constexpr double roundness = 3;
constexpr int textInset = 3;  ///< between the frame of a line and its text, in addition to Qt's own two pixels

bool isFilled(const QWidget* widget) {
    return widget != nullptr && widget->isEnabled() && widget->property(Theme::filledProperty).toBool();
}

/// Draws a border within `rect`, stronger if the widget has the focus.
void drawOutline(QPainter* painter, const QRect& rect, bool hasFocus, bool isEnabled) {
    const double width = hasFocus ? 1.6 : 1;
    const ThemeColor color = hasFocus ? ThemeColor::accent : isEnabled ? ThemeColor::outline : ThemeColor::line;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(Theme::color(color), width));
    const double half = width / 2;
    painter->drawRoundedRect(QRectF(rect).adjusted(half, half, -half, -half), roundness, roundness);
    painter->restore();
}

/// Draws the one-pixel frame of a list or a read-only text. It only separates areas, so it is as light as a hairline.
void drawAreaFrame(QPainter* painter, const QRect& rect, bool hasFocus) {
    painter->save();
    painter->setBrush(Qt::NoBrush);
    painter->setPen(Theme::color(hasFocus ? ThemeColor::accent : ThemeColor::line));
    painter->drawRect(rect.adjusted(0, 0, -1, -1));
    painter->restore();
}

void drawButton(QPainter* painter, const QStyleOption& option, const QWidget* widget) {
    const bool filled = isFilled(widget);
    const bool hasFocus = option.state.testFlag(QStyle::State_HasFocus);
    const bool isEnabled = option.state.testFlag(QStyle::State_Enabled);
    QColor ground = option.palette.color(QPalette::Button);
    if ((option.state & (QStyle::State_Sunken | QStyle::State_On)) != 0) {
        ground = Theme::isDark() ? ground.darker(125) : ground.darker(112);
    } else if (isEnabled && option.state.testFlag(QStyle::State_MouseOver)) {
        ground = filled || Theme::isDark() ? ground.lighter(112) : ground.darker(104);
    }
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(ground);
    painter->drawRoundedRect(QRectF(option.rect).adjusted(0.5, 0.5, -0.5, -0.5), roundness, roundness);
    if (filled && hasFocus) {
        painter->setBrush(Qt::NoBrush);
        painter->setPen(QPen(Theme::color(ThemeColor::onAccent), 1));
        painter->drawRoundedRect(QRectF(option.rect).adjusted(2.5, 2.5, -2.5, -2.5), roundness - 1, roundness - 1);
    }
    painter->restore();
    if (!filled) {
        drawOutline(painter, option.rect, hasFocus, isEnabled);
    }
}

/// Draws a check box or, if `isRound`, a radio button.
void drawMark(QPainter* painter, const QStyleOption& option, bool isRound) {
    const bool isOn = option.state.testFlag(QStyle::State_On);
    const bool isPartly = option.state.testFlag(QStyle::State_NoChange);
    const bool isEnabled = option.state.testFlag(QStyle::State_Enabled);
    const int side = qMin(option.rect.width(), option.rect.height());
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->translate(QRectF(option.rect).center());
    painter->scale(side / 14.0, side / 14.0);
    const QRectF box(-6.5, -6.5, 13, 13);
    const bool isMarked = isOn || isPartly;
    const QColor ground = !isMarked   ? option.palette.color(QPalette::Base)
                          : isEnabled ? Theme::color(ThemeColor::accent)
                                      : option.palette.color(QPalette::Disabled, QPalette::Text);
    painter->setBrush(ground);
    painter->setPen(QPen(isMarked ? ground : Theme::color(isEnabled ? ThemeColor::outline : ThemeColor::line), 1));
    painter->drawRoundedRect(box, isRound ? 6.5 : roundness - 0.5, isRound ? 6.5 : roundness - 0.5);
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(Theme::color(ThemeColor::onAccent), 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    if (isOn && isRound) {
        painter->setBrush(Theme::color(ThemeColor::onAccent));
        painter->drawEllipse(QRectF(-1.6, -1.6, 3.2, 3.2));
    } else if (isOn) {
        paintTick(*painter, box);
    } else if (isPartly) {
        painter->drawLine(QPointF(-3, 0), QPointF(3, 0));
    }
    painter->restore();
}

void drawScrollBar(QPainter* painter, const QStyleOption& option, const QRect& slider) {
    const bool isHeld = (option.state & (QStyle::State_Sunken | QStyle::State_MouseOver)) != 0;
    painter->save();
    painter->fillRect(option.rect, Theme::color(ThemeColor::panel));
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(Theme::color(isHeld ? ThemeColor::quiet : ThemeColor::outline));
    const QRectF thumb = QRectF(slider).adjusted(3, 3, -3, -3);
    const double radius = qMin(thumb.width(), thumb.height()) / 2;
    painter->drawRoundedRect(thumb, radius, radius);
    painter->restore();
}

}  // namespace

ThemeStyle::ThemeStyle() : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))) {
}

void ThemeStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                               const QWidget* widget) const {
    const bool isEnabled = option->state.testFlag(State_Enabled);
    switch (element) {
        case PE_FrameLineEdit:
            drawOutline(painter, option->rect, option->state.testFlag(State_HasFocus), isEnabled);
            break;
        case PE_Frame:
            drawAreaFrame(painter, option->rect, widget != nullptr && widget->hasFocus());
            break;
        case PE_PanelButtonCommand:
            drawButton(painter, *option, widget);
            break;
        case PE_IndicatorCheckBox:
            drawMark(painter, *option, false);
            break;
        case PE_IndicatorRadioButton:
            drawMark(painter, *option, true);
            break;
        default:
            QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
}

void ThemeStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                             const QWidget* widget) const {
    if (const auto* box = qstyleoption_cast<const QStyleOptionComboBox*>(option);
        element == CE_ComboBoxLabel && box != nullptr) {
        drawComboBoxLabel(*box, painter, widget);
        return;
    }
    const auto* button = qstyleoption_cast<const QStyleOptionButton*>(option);
    const bool isPart = element == CE_PushButtonBevel || element == CE_PushButtonLabel;
    if (!isPart || button == nullptr || !isFilled(widget)) {
        QProxyStyle::drawControl(element, option, painter, widget);
        return;
    }
    QStyleOptionButton filled = *button;
    filled.palette.setColor(QPalette::Button, Theme::color(ThemeColor::accent));
    filled.palette.setColor(QPalette::ButtonText, Theme::color(ThemeColor::onAccent));
    QProxyStyle::drawControl(element, &filled, painter, widget);
}

/// Puts dots at the end of a text that is too long, so that no letter is cut.
void ThemeStyle::drawComboBoxLabel(const QStyleOptionComboBox& box, QPainter* painter, const QWidget* widget) const {
    QStyleOptionComboBox elided = box;
    const QRect room = proxy()->subControlRect(CC_ComboBox, &box, SC_ComboBoxEditField, widget);
    constexpr int inset = 2;  // Qt's own
    elided.currentText = box.fontMetrics.elidedText(box.currentText, Qt::ElideRight, room.width() - inset);
    QProxyStyle::drawControl(CE_ComboBoxLabel, &elided, painter, widget);
}

void ThemeStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                                    const QWidget* widget) const {
    if (control == CC_ScrollBar) {
        drawScrollBar(painter, *option, proxy()->subControlRect(control, option, SC_ScrollBarSlider, widget));
        return;
    }
    QProxyStyle::drawComplexControl(control, option, painter, widget);
    const auto* spinBox = qstyleoption_cast<const QStyleOptionSpinBox*>(option);
    if (control == CC_SpinBox && spinBox != nullptr && spinBox->frame) {
        drawOutline(painter, option->rect, option->state.testFlag(State_HasFocus),
                    option->state.testFlag(State_Enabled));
    }
}

QRect ThemeStyle::subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                                 const QWidget* widget) const {
    const auto* bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
    if (control != CC_ScrollBar || bar == nullptr) {
        return QProxyStyle::subControlRect(control, option, part, widget);
    }
    const bool isHorizontal = bar->orientation == Qt::Horizontal;
    const int length = isHorizontal ? bar->rect.width() : bar->rect.height();
    const qint64 range = qint64{bar->maximum} - bar->minimum;
    const int least = qMin(length, 2 * proxy()->pixelMetric(PM_ScrollBarExtent, option, widget));
    const int slider =
        range == 0 ? length : qMax(least, static_cast<int>(length * qint64{bar->pageStep} / (range + bar->pageStep)));
    const int at =
        sliderPositionFromValue(bar->minimum, bar->maximum, bar->sliderPosition, length - slider, bar->upsideDown);
    const auto span = [bar, isHorizontal](int from, int to) {
        const QRect rect = isHorizontal ? QRect(bar->rect.x() + from, bar->rect.y(), to - from, bar->rect.height())
                                        : QRect(bar->rect.x(), bar->rect.y() + from, bar->rect.width(), to - from);
        return visualRect(bar->direction, bar->rect, rect);
    };
    switch (part) {
        case SC_ScrollBarGroove:
            return bar->rect;
        case SC_ScrollBarSlider:
            return span(at, at + slider);
        case SC_ScrollBarSubPage:
            return span(0, at);
        case SC_ScrollBarAddPage:
            return span(at + slider, length);
        default:
            return {};  // the scroll bars have no buttons
    }
}

int ThemeStyle::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
    switch (metric) {
        case PM_LayoutHorizontalSpacing:
        case PM_LayoutVerticalSpacing:
            return Theme::rowGap();
        case PM_LayoutLeftMargin:
        case PM_LayoutTopMargin:
        case PM_LayoutRightMargin:
        case PM_LayoutBottomMargin:
            return Theme::labelGap();
        default:
            return QProxyStyle::pixelMetric(metric, option, widget);
    }
}

QSize ThemeStyle::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                                   const QWidget* widget) const {
    const QSize whole = QProxyStyle::sizeFromContents(type, option, size, widget);
    switch (type) {
        case CT_PushButton:
            return whole + QSize(2 * Theme::rowGap(), 0);
        case CT_LineEdit:
            return whole + QSize(2 * textInset, 0);
        default:
            return whole;
    }
}

QRect ThemeStyle::subElementRect(SubElement element, const QStyleOption* option, const QWidget* widget) const {
    const QRect whole = QProxyStyle::subElementRect(element, option, widget);
    return element == SE_LineEditContents ? whole.adjusted(textInset, 0, -textInset, 0) : whole;
}

int ThemeStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                          QStyleHintReturn* answer) const {
    // Mnemonics are underlined even while Alt isn't pressed.
    return hint == SH_UnderlineShortcut ? 1 : QProxyStyle::styleHint(hint, option, widget, answer);
}

}  // namespace desktop
