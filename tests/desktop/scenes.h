#pragma once

#include "tests/desktop/DesktopKit.h"

/// A state of a page that a picture shows.
struct Scene {
    const char* page;
    const char* name;  ///< the part of the picture's name after the page's id
    void (*fill)(DesktopKit& kit);
};

/// The scenes of pages in other states than an empty form.
[[nodiscard]] const QList<Scene>& scenes();

/// Makes the kit's folder the current one, shows the page of a scene and fills it.
void play(const Scene& scene, DesktopKit& kit);
