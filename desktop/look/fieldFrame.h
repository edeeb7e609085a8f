#pragma once

#include "desktop/look/theme.h"

class QWidget;

constexpr double faultFrame = 1.6;

/// Paints a frame over that of a part of a form: of a fault, or of the place where something dragged would land.
void paintFieldFrame(QWidget& part, ThemeColor color, double width);
