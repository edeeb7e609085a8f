#include "desktop/look/tabOrder.h"

#include <QWidget>

namespace desktop {

namespace {

/// The parts of `whole` in the order of Tab, including hidden ones.
QList<QWidget*> partsOf(const QWidget& whole) {
    QList<QWidget*> parts;
    for (QWidget* part = whole.nextInFocusChain(); part != &whole; part = part->nextInFocusChain()) {
        if (whole.isAncestorOf(part) && (part->focusPolicy() & Qt::TabFocus) != 0) {
            parts.append(part);
        }
    }
    return parts;
}

}  // namespace

void setTabOrderOfParts(QWidget& first, QWidget& second) {
    const QList<QWidget*> before = partsOf(first);
    QWidget* last = before.isEmpty() ? nullptr : before.constLast();
    for (QWidget* const part : partsOf(second)) {
        if (last != nullptr) {
            QWidget::setTabOrder(last, part);
        }
        last = part;
    }
}

}  // namespace desktop
