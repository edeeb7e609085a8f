#pragma once

#include <QStringList>

class QWidget;

/// The texts of a window that are cut off, each with its widget. The check renders each visible widget and compares the
/// size of each text in its font with the rectangle that it is drawn into. Text that can be scrolled into view isn't
/// cut off. An elided text isn't cut off either, unless it is a number or only dots.
[[nodiscard]] QStringList textsWithoutRoom(const QWidget& window);
