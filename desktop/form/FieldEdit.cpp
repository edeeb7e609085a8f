#include "desktop/form/FieldEdit.h"

#include "desktop/form/CheckField.h"
#include "desktop/form/ChoiceField.h"
#include "desktop/form/PathField.h"
#include "desktop/form/PathListField.h"
#include "desktop/form/TextField.h"

#include <QContextMenuEvent>

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
        // A menu, a list that opens and another window don't end the work on a field.
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

FieldEdit* makeFieldEdit(const FormField& field, PageContext& context, QWidget* parent) {
    switch (field.kind) {
        case FieldKind::text:
        case FieldKind::fixed:
            return new TextField(field, parent);
        case FieldKind::choice:
            return new ChoiceField(field, parent);
        case FieldKind::check:
            return new CheckField(field, parent);
        case FieldKind::inFile:
        case FieldKind::outFile:
        case FieldKind::folder:
            return new PathField(field, context, parent);
        case FieldKind::inFiles:
            return new PathListField(field, context, parent);
    }
    return new TextField(field, parent);
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
