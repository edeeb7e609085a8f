#pragma once

#include <QProxyStyle>

class QStyleOptionComboBox;

namespace desktop {

/// Fusion with flat fields and buttons in the theme's colours, one filled button per page, and slim scroll bars.
/// Fusion's own outlines have a darkened window colour and are invisible in the dark look.
class ThemeStyle : public QProxyStyle {
  public:
    ThemeStyle();

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                            const QWidget* widget) const override;
    [[nodiscard]] QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                                       const QWidget* widget) const override;
    [[nodiscard]] int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
    [[nodiscard]] QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                                         const QWidget* widget) const override;
    [[nodiscard]] QRect subElementRect(SubElement element, const QStyleOption* option,
                                       const QWidget* widget) const override;
    [[nodiscard]] int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                                QStyleHintReturn* answer) const override;

  private:
    void drawComboBoxLabel(const QStyleOptionComboBox& box, QPainter* painter, const QWidget* widget) const;
};

}  // namespace desktop
