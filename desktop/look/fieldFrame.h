#pragma once

#include "desktop/look/theme.h"

class QWidget;

namespace desktop {

constexpr double faultFrame = 1.6;

/// Paints a frame over the frame of `part`, to show a fault or the target of a drag.
void paintFieldFrame(QWidget& part, ThemeColor color, double width);

}  // namespace desktop
