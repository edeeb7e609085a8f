#include "desktop/form/FieldLine.h"

#include "desktop/look/fieldFrame.h"

#include <QApplication>
#include <QEvent>
#include <QPainter>
#include <QPushButton>
#include <QStyleOptionFrame>

namespace desktop {

namespace {

constexpr int fewestCharacters = 9;

}  // namespace

FieldLine::FieldLine(int characters, QWidget* parent)
    : QLineEdit(parent), characters_(characters), buttonHeight_(QPushButton(QStringLiteral("…")).sizeHint().height()) {
    setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    // The field accepts the drops instead.
    setAcceptDrops(false);
}

void FieldLine::setExample(const QString& example) {
    setPlaceholderText(example.isEmpty() ? QString() : tr("e.g. %1").arg(example));
}

void FieldLine::setPath(bool isPath) {
    isPath_ = isPath;
}

void FieldLine::setEditable(bool editable) {
    setReadOnly(!editable);
    setGround();
}

void FieldLine::describe(const QString& text, bool isFault) {
    setAccessibleDescription(text);
    isFault_ = isFault;
    update();
}

void FieldLine::setTarget(bool isTarget) {
    isTarget_ = isTarget;
    update();
}

QSize FieldLine::sizeHint() const {
    return {fontMetrics().averageCharWidth() * (characters_ + 2), qMax(QLineEdit::sizeHint().height(), buttonHeight_)};
}

QSize FieldLine::minimumSizeHint() const {
    const int characters = qMin(fewestCharacters, characters_);
    return {fontMetrics().averageCharWidth() * (characters + 2), sizeHint().height()};
}

void FieldLine::paintEvent(QPaintEvent* event) {
    QStyleOptionFrame option;
    initStyleOption(&option);
    QRect room = style()->subElementRect(QStyle::SE_LineEditContents, &option, this);
    room.adjust(2, 0, -2, 0);
    if (isPath_ && !hasFocus() && fontMetrics().horizontalAdvance(text()) > room.width()) {
        QPainter painter(this);
        style()->drawPrimitive(QStyle::PE_PanelLineEdit, &option, &painter, this);
        painter.setPen(palette().color(QPalette::Text));
        painter.drawText(room, Qt::AlignVCenter | Qt::TextSingleLine,
                         fontMetrics().elidedText(text(), Qt::ElideMiddle, room.width()));
    } else {
        QLineEdit::paintEvent(event);
    }
    if (isTarget_) {
        paintFieldFrame(*this, ThemeColor::accent, 2.4);
    } else if (isFault_) {
        paintFieldFrame(*this, ThemeColor::fault, faultFrame);
    }
}

void FieldLine::changeEvent(QEvent* event) {
    QLineEdit::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ApplicationPaletteChange) {
        setGround();
    }
}

void FieldLine::setGround() {
    // A read-only line has the background of the page.
    const QPalette all = QApplication::palette();
    const QColor ground = all.color(isReadOnly() ? QPalette::Window : QPalette::Base);
    if (palette().color(QPalette::Base) != ground) {
        QPalette own;
        own.setColor(QPalette::Base, ground);
        setPalette(isReadOnly() ? own : QPalette());
    }
}

}  // namespace desktop
