#include "desktop/look/theme.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFontMetrics>
#include <QPushButton>

#include <array>

namespace desktop {

namespace {

struct ThemeRow {
    ThemeColor color;
    QRgb light;
    QRgb dark;
};

constexpr std::array themeRows = {
    ThemeRow{ThemeColor::accent, 0xFF1F5FA8, 0xFF7DB2F5},   ThemeRow{ThemeColor::onAccent, 0xFFFFFFFF, 0xFF0B1522},
    ThemeRow{ThemeColor::fault, 0xFFB3261E, 0xFFFF8F85},    ThemeRow{ThemeColor::warning, 0xFF805300, 0xFFF2C55C},
    ThemeRow{ThemeColor::success, 0xFF17693A, 0xFF7FD8A0},  ThemeRow{ThemeColor::quiet, 0xFF56606E, 0xFFA3ADBA},
    ThemeRow{ThemeColor::line, 0xFFD3D8DF, 0xFF363C45},     ThemeRow{ThemeColor::panel, 0xFFEBEEF2, 0xFF17191D},
    ThemeRow{ThemeColor::changed, 0xFF7A3EA8, 0xFFCFA6FF},  ThemeRow{ThemeColor::mapBlock, 0xFFE6ECF4, 0xFF29313C},
    ThemeRow{ThemeColor::outline, 0xFF8A929D, 0xFF6B7480},  ThemeRow{ThemeColor::mapUsed, 0xFFBFD7F2, 0xFF2C4A70},
    ThemeRow{ThemeColor::mapFault, 0xFFF6CCC8, 0xFF6A2A27},
};

/// `count` thirds of the line height of the program's font. One third is 6 pixels if a line has 18.
int steps(int count) {
    return qMax(1, QFontMetrics(QApplication::font()).height() / 3) * count;
}

}  // namespace

bool Theme::isDark() {
    return QApplication::palette().color(QPalette::Window).lightness() < 128;
}

QColor Theme::color(ThemeColor color) {
    return Theme::color(color, isDark());
}

QColor Theme::color(ThemeColor color, bool dark) {
    for (const ThemeRow& row : themeRows) {
        if (row.color == color) {
            return QColor::fromRgb(dark ? row.dark : row.light);
        }
    }
    return {};
}

QPalette Theme::palette(bool dark) {
    const QColor window = dark ? QColor(0x1E, 0x21, 0x26) : QColor(0xF7, 0xF8, 0xFA);
    const QColor base = dark ? QColor(0x15, 0x17, 0x1B) : QColor(0xFF, 0xFF, 0xFF);
    const QColor button = dark ? QColor(0x2C, 0x31, 0x39) : QColor(0xF3, 0xF5, 0xF8);
    const QColor text = dark ? QColor(0xE6, 0xE9, 0xED) : QColor(0x1B, 0x1F, 0x24);
    const QColor quiet = color(ThemeColor::quiet, dark);
    const QColor disabled = dark ? QColor(0x6B, 0x74, 0x80) : QColor(0x9A, 0xA2, 0xAD);
    QPalette palette(text, button, button.lighter(115), button.darker(160), button.darker(120), text, text, base,
                     window);
    palette.setColor(QPalette::AlternateBase, dark ? QColor(0x1A, 0x1D, 0x22) : QColor(0xF7, 0xF9, 0xFB));
    palette.setColor(QPalette::Highlight, color(ThemeColor::accent, dark));
    palette.setColor(QPalette::HighlightedText, color(ThemeColor::onAccent, dark));
    palette.setColor(QPalette::Link, color(ThemeColor::accent, dark));
    palette.setColor(QPalette::LinkVisited, color(ThemeColor::accent, dark));
    palette.setColor(QPalette::PlaceholderText, quiet);
    palette.setColor(QPalette::ToolTipBase, dark ? QColor(0x2C, 0x31, 0x39) : QColor(0xFF, 0xFF, 0xFF));
    palette.setColor(QPalette::ToolTipText, text);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, disabled);
    }
    palette.setColor(QPalette::Disabled, QPalette::Highlight, color(ThemeColor::line, dark));
    return palette;
}

QFont Theme::fixedFont() {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(QApplication::font().pointSizeF());
    return font;
}

QFont Theme::headlineFont() {
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() + 4);
    font.setWeight(QFont::DemiBold);
    return font;
}

int Theme::rowGap() {
    return steps(1);
}

int Theme::labelGap() {
    return steps(2);
}

int Theme::groupGap() {
    return steps(3);
}

void Theme::setFilled(QPushButton& button) {
    button.setProperty(filledProperty, true);
    QFont font = button.font();
    font.setWeight(QFont::DemiBold);
    button.setFont(font);
}

}  // namespace desktop
