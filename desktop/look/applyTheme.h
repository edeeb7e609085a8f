#pragma once

#include "desktop/look/theme.h"

namespace desktop {

/// Sets style and palette of the application.
void applyTheme(QApplication& application, ThemeScheme scheme);

}  // namespace desktop
