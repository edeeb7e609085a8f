#pragma once

#include <QString>

class QWidget;

/// `text` for a tool tip: its lines are wrapped, and what looks like HTML, out of a file or a name, stays as it is.
[[nodiscard]] QString plainTip(const QString& text);

/// Shows `text` as the tip of a widget and gives it to screen readers as it is, who would get the tip's HTML otherwise.
void setPlainTip(QWidget& widget, const QString& text);
