#pragma once

#include "tests/desktop/DesktopKit.h"

// Scenes of the page that looks inside a file.

void showImage(DesktopKit& kit);
void proveImage(DesktopKit& kit);
void proveWrongImage(DesktopKit& kit);  ///< an area that was moved into another one
void giveKeys(DesktopKit& kit);
void compareImages(DesktopKit& kit);
void showLargeImage(DesktopKit& kit);  ///< of more than 100 MB, with a trailer at its end
