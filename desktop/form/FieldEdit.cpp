#include "desktop/form/FieldEdit.h"

#include <QContextMenuEvent>

namespace desktop {

void FieldEdit::watch(QWidget* part, const QString& name) {
    part->setAccessibleName(name);
    part->installEventFilter(this);
}

void FieldEdit::leave() {
    emit left();
}

bool FieldEdit::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusIn) {
        emit entered();
    } else if (event->type() == QEvent::FocusOut) {
        // The user still edits the field while a menu, a list or another window has the focus.
        switch (static_cast<QFocusEvent*>(event)->reason()) {
            case Qt::PopupFocusReason:
            case Qt::ActiveWindowFocusReason:
            case Qt::MenuBarFocusReason:
                break;
            default:
                leave();
        }
    } else if (event->type() == QEvent::ContextMenu) {
        emit menuAsked(qobject_cast<QWidget*>(watched), static_cast<QContextMenuEvent*>(event)->globalPos());
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

QString plainLabel(const QString& label) {
    QString plain;
    for (qsizetype at = 0; at < label.size(); ++at) {
        if (label.at(at) == u'&' && ++at == label.size()) {
            break;
        }
        plain.append(label.at(at));
    }
    return plain;
}

QString labelInSentence(const QString& label) {
    const bool isWord = label.size() > 1 && label.at(0).isUpper() && label.at(1).isLower();
    return isWord ? label.at(0).toLower() + label.mid(1) : label;
}

}  // namespace desktop
