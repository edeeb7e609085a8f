#include "desktop/window/InputFilter.h"

#include "desktop/form/FieldLine.h"

#include <QAbstractSpinBox>
#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>

namespace desktop {

bool InputFilter::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Wheel) {
        auto* field = qobject_cast<QWidget*>(watched);
        const bool turns =
            qobject_cast<QAbstractSpinBox*>(field) != nullptr || qobject_cast<QComboBox*>(field) != nullptr;
        if (turns && !field->hasFocus()) {
            event->ignore();
            return true;
        }
    } else if (event->type() == QEvent::ShortcutOverride) {
        const auto* line = qobject_cast<QLineEdit*>(watched);
        const auto* key = static_cast<QKeyEvent*>(event);
        // The window knows the order of all steps in a form, so form lines leave undo and redo to it. If the window has
        // no step, the line receives the key again.
        const bool isOfForm = qobject_cast<FieldLine*>(watched) != nullptr;
        if (line != nullptr && ((key->matches(QKeySequence::Undo) && (isOfForm || !line->isUndoAvailable())) ||
                                (key->matches(QKeySequence::Redo) && (isOfForm || !line->isRedoAvailable())))) {
            event->ignore();
            return true;
        }
    }
    return false;
}

}  // namespace desktop
