#pragma once

#include "tests/desktop/DesktopKit.h"

// Scenes of the page "Inspect a file".

void showImage(DesktopKit& kit);
void proveImage(DesktopKit& kit);
void showContents(DesktopKit& kit);
void proveWrongImage(DesktopKit& kit);  ///< an image in which one area overlaps another
void giveKeys(DesktopKit& kit);
void compareImages(DesktopKit& kit);
void showLargeImage(DesktopKit& kit);  ///< an image of more than 100 MB with a trailer
