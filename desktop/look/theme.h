#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

class QApplication;
class QPushButton;

enum class ThemeScheme { system, light, dark };

/// The colours that the palette has no role for.
enum class ThemeColor {
    accent,    ///< the one filled button, the chosen entry, the focus
    onAccent,  ///< text on it
    fault,     ///< text of a fault
    warning,   ///< text of a warning
    success,   ///< text of a success, a good verdict
    quiet,     ///< text of less weight: hints, units, empty places
    line,      ///< hairlines between areas
    outline,   ///< border of a field or button
    panel,     ///< ground of the list at the left and of the command line
    changed,   ///< mark of a changed value
    mapBlock,  ///< ground of a block in a map of memory
    mapUsed,   ///< ground of a block that holds data, or of a used word
    mapFault,  ///< ground of a collision
};

/// One look, light or dark, told by the palette's own lightness. There are no style sheets: whatever paints asks here
/// while it paints, and repaints at QEvent::PaletteChange.
namespace Theme {

[[nodiscard]] bool isDark();
[[nodiscard]] QColor color(ThemeColor color);
/// The colours of one of the two looks, for those who compare them.
[[nodiscard]] QColor color(ThemeColor color, bool dark);
[[nodiscard]] QPalette palette(bool dark);

/// For hexadecimal, paths and command lines.
[[nodiscard]] QFont fixedFont();
/// Larger and half bold: the headline of a page.
[[nodiscard]] QFont headlineFont();

/// Distances in pixels, grown with the font.
[[nodiscard]] int rowGap();    ///< between things of one row, and between rows
[[nodiscard]] int labelGap();  ///< from a label to its field
[[nodiscard]] int groupGap();  ///< between groups

/// A property that a button has if it is the filled one of its page.
inline constexpr char filledProperty[] = "qvoraFilled";

/// Makes `button` the filled one of its page.
void setFilled(QPushButton& button);

}  // namespace Theme
