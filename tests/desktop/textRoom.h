#pragma once

#include <QStringList>

class QWidget;

/// The texts of a window that are not seen whole, each with its widget. Every visible widget is drawn once, and each
/// text that it draws is measured, in the font that it is drawn in, against the place that it is drawn into. What can
/// be scrolled into view counts as seen, and so does an elided text, unless it is a number or nothing but the dots.
[[nodiscard]] QStringList textsWithoutRoom(const QWidget& window);
