#include "desktop/look/ToneLabel.h"

#include <QEvent>

namespace desktop {

ToneLabel::ToneLabel(ThemeColor tone, QWidget* parent) : QLabel(parent), tone_(tone) {
    setTextFormat(Qt::PlainText);
    setWordWrap(true);
    // A very long word from a file must not widen the window.
    QSizePolicy anyWidth = sizePolicy();
    anyWidth.setHorizontalPolicy(QSizePolicy::Ignored);
    setSizePolicy(anyWidth);
    colour();
}

void ToneLabel::setTone(ThemeColor tone) {
    tone_ = tone;
    colour();
}

void ToneLabel::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        colour();
    }
}

void ToneLabel::colour() {
    // setPalette causes the same event again.
    QPalette own = palette();
    if (own.color(QPalette::WindowText) != Theme::color(tone_)) {
        own.setColor(QPalette::WindowText, Theme::color(tone_));
        setPalette(own);
    }
}

}  // namespace desktop
