#pragma once

#include <QAccessible>

class QWidget;

/// Sets the role that screen readers get for a view that paints itself, since Qt knows no role for it. The constructor
/// of the view calls this before it sets a name or description. The view's content is its accessible description.
void setSpokenRole(QWidget& view, QAccessible::Role role);
