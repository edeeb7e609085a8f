#pragma once

#include <QAccessible>

class QWidget;

/// Tells screen readers what a view that paints itself is, since Qt knows no role for it. For the view's constructor,
/// before its name or description is set. What it shows is its accessible description.
void setSpokenRole(QWidget& view, QAccessible::Role role);
