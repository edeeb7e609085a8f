#include "desktop/look/applyTheme.h"

#include "desktop/look/ThemeStyle.h"

#include <QApplication>

namespace desktop {

void applyTheme(QApplication& application, ThemeScheme scheme) {
    // The lightness of the system's palette, read before our palette replaces it.
    static const bool systemIsDark = Theme::isDark();
    if (dynamic_cast<ThemeStyle*>(QApplication::style()) == nullptr) {
        auto* style = new ThemeStyle;
        style->setParent(&application);
        QApplication::setStyle(style);
    }
    application.setPalette(Theme::palette(scheme == ThemeScheme::system ? systemIsDark : scheme == ThemeScheme::dark));
}

}  // namespace desktop
