#include "desktop/look/plainTip.h"

#include <QTextDocument>
#include <QWidget>

namespace desktop {

QString plainTip(const QString& text) {
    const QString trimmed = text.trimmed();
    return trimmed.isEmpty() ? QString() : Qt::convertFromPlainText(trimmed);
}

void setPlainTip(QWidget& widget, const QString& text) {
    widget.setToolTip(plainTip(text));
    widget.setAccessibleDescription(text.trimmed());
}

}  // namespace desktop
