#pragma once

#include <QString>

class QWidget;

namespace desktop {

/// `text` for a tool tip: long lines are wrapped, and text from files or names is shown as it is, even if it looks like
/// HTML.
[[nodiscard]] QString plainTip(const QString& text);

/// Sets `text` as the tip of a widget. Screen readers get the plain text; otherwise they would read the tip's HTML.
void setPlainTip(QWidget& widget, const QString& text);

}  // namespace desktop
