#pragma once

#include "desktop/look/theme.h"

/// Sets style and palette of the application.
void applyTheme(QApplication& application, ThemeScheme scheme);
