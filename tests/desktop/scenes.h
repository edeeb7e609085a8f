#pragma once

#include "tests/desktop/DesktopKit.h"

/// Brings a page into a state that its picture shows.
struct Scene {
    const char* page;
    const char* name;  ///< of the picture, after the page's
    void (*fill)(DesktopKit& kit);
};

/// The states of pages that are more than an empty form.
[[nodiscard]] const QList<Scene>& scenes();

/// Shows the page of a scene, with the kit's folder as the current one, and fills it.
void play(const Scene& scene, DesktopKit& kit);
