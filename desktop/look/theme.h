#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

class QApplication;
class QPushButton;

namespace desktop {

enum class ThemeScheme { system, light, dark };

/// The colours that have no role in the palette.
enum class ThemeColor {
    accent,    ///< the one filled button, the chosen entry, the focus
    onAccent,  ///< text on the accent
    fault,     ///< text of a fault
    warning,   ///< text of a warning
    success,   ///< text of a success, a good verdict
    quiet,     ///< text of less weight: hints, units, empty places
    line,      ///< hairlines between areas
    outline,   ///< border of a field or button
    panel,     ///< background of the list at the left and of the command line
    changed,   ///< mark of a changed value
    mapBlock,  ///< background of a block in a map of memory
    mapUsed,   ///< background of a block that contains data, or of a used word
    mapFault,  ///< background of a collision
};

/// The look is light or dark, depending on the palette. There are no style sheets: a widget reads the colours here when
/// it paints, and repaints at QEvent::PaletteChange.
namespace Theme {

[[nodiscard]] bool isDark();
[[nodiscard]] QColor color(ThemeColor color);
/// The colour in one of the two looks, for code that compares them.
[[nodiscard]] QColor color(ThemeColor color, bool dark);
[[nodiscard]] QPalette palette(bool dark);

/// The font of hexadecimal numbers, paths and command lines.
[[nodiscard]] QFont fixedFont();
/// The font of a page's headline, larger and half bold.
[[nodiscard]] QFont headlineFont();

/// Distances in pixels, which grow with the font.
[[nodiscard]] int rowGap();    ///< between widgets of one row, and between rows
[[nodiscard]] int labelGap();  ///< from a label to its field
[[nodiscard]] int groupGap();  ///< between groups

/// The name of the property that marks the filled button of a page.
inline constexpr char filledProperty[] = "qvoraFilled";

/// Makes `button` the filled one of its page.
void setFilled(QPushButton& button);

}  // namespace Theme

}  // namespace desktop
