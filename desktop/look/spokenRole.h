#pragma once

#include <QAccessible>

class QWidget;

namespace desktop {

/// Sets the role that screen readers get for a view that paints itself. Qt knows no role for such a view. The
/// constructor of the view calls this before it sets a name or description. The accessible description contains the
/// view's content.
void setSpokenRole(QWidget& view, QAccessible::Role role);

}  // namespace desktop
