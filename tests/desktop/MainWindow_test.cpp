#include "tests/desktop/DesktopKit.h"

#include <QTest>

#include <gtest/gtest.h>

#include <cmath>

namespace {

double luminance(const QColor& color) {
    const auto linear = [](double part) {
        return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double contrast(const QColor& text, const QColor& ground) {
    const double a = luminance(text);
    const double b = luminance(ground);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

TEST(MainWindow, EveryTextColourCanBeReadOnItsGround) {
    for (const bool dark : {false, true}) {
        const QPalette palette = Theme::palette(dark);
        const auto color = [dark](ThemeColor name) { return Theme::color(name, dark); };
        const struct {
            QColor text;
            QColor ground;
        } pairs[] = {
            {palette.color(QPalette::Text), palette.color(QPalette::Base)},
            {palette.color(QPalette::WindowText), palette.color(QPalette::Window)},
            {palette.color(QPalette::ButtonText), palette.color(QPalette::Button)},
            {palette.color(QPalette::ToolTipText), palette.color(QPalette::ToolTipBase)},
            {palette.color(QPalette::WindowText), color(ThemeColor::panel)},
            {color(ThemeColor::onAccent), color(ThemeColor::accent)},
            {color(ThemeColor::fault), palette.color(QPalette::Window)},
            {color(ThemeColor::warning), palette.color(QPalette::Window)},
            {color(ThemeColor::success), palette.color(QPalette::Window)},
            {color(ThemeColor::changed), palette.color(QPalette::Window)},
            {color(ThemeColor::quiet), palette.color(QPalette::Base)},
            {color(ThemeColor::quiet), color(ThemeColor::panel)},
            {palette.color(QPalette::Text), color(ThemeColor::mapBlock)},
            {palette.color(QPalette::Text), color(ThemeColor::mapUsed)},
            {palette.color(QPalette::Text), color(ThemeColor::mapFault)},
        };
        for (const auto& pair : pairs) {
            EXPECT_GE(contrast(pair.text, pair.ground), 4.5)
                << (dark ? "dark: " : "light: ") << pair.text.name().toStdString() << " on "
                << pair.ground.name().toStdString();
        }
    }
}

}  // namespace
