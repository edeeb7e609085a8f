#include "desktop/form/FieldLabel.h"

#include "desktop/look/theme.h"

#include <QPainter>
#include <QStyle>

namespace desktop {

namespace {

constexpr int mostCharacters = 26;
constexpr int textFlags = Qt::AlignRight | Qt::AlignVCenter | Qt::TextShowMnemonic | Qt::TextWordWrap;

}  // namespace

FieldLabel::FieldLabel(const QString& text, QWidget* parent) : QLabel(text, parent) {
    setTextFormat(Qt::PlainText);
    setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    const int widest = fontMetrics().averageCharWidth() * mostCharacters;
    const int wanted = fontMetrics().size(Qt::TextShowMnemonic, text).width() + 1;
    setFixedWidth(qMin(widest, wanted));
    setWordWrap(wanted > widest);
}

void FieldLabel::setChanged(bool isChanged) {
    isChanged_ = isChanged;
    update();
}

void FieldLabel::matchHeight(const QWidget* field) {
    setMinimumHeight(field->sizeHint().height());
}

void FieldLabel::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setPen(isChanged_ ? Theme::color(ThemeColor::changed) : palette().color(foregroundRole()));
    style()->drawItemText(&painter, contentsRect(), textFlags, palette(), isEnabled(), text());
}

}  // namespace desktop
