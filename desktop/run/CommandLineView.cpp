#include "desktop/run/CommandLineView.h"

#include "desktop/look/theme.h"

#include <QMimeData>
#include <QPainter>
#include <QScrollBar>

namespace desktop {

namespace {

constexpr int maxLines = 3;

}  // namespace

CommandLineView::CommandLineView(QWidget* parent) : QPlainTextEdit(parent) {
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    setUndoRedoEnabled(false);
    setFont(Theme::fixedFont());
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(tr("Command line"));
    setBackgroundRole(QPalette::Base);
    setAutoFillBackground(true);
    setFixedHeight(heightOf(1));
    setViewportMargins(fontMetrics().horizontalAdvance(QStringLiteral("$ ")), 0, 0, 0);
}

void CommandLineView::setLine(const QString& line) {
    if (line != line_) {
        line_ = line;
        setPlainText(line);
        if (isVisible()) {  // a hidden view doesn't have its final width yet
            fitHeight();
        }
    }
}

QSize CommandLineView::sizeHint() const {
    return {40 * fontMetrics().averageCharWidth(), height()};
}

QSize CommandLineView::minimumSizeHint() const {
    return {20 * fontMetrics().averageCharWidth(), heightOf(1)};
}

QMimeData* CommandLineView::createMimeDataFromSelection() const {
    const QTextCursor chosen = textCursor();
    if (document()->characterCount() != line_.size() + 1) {  // the count includes the document's end
        return QPlainTextEdit::createMimeDataFromSelection();
    }
    auto* copied = new QMimeData;
    copied->setText(line_.mid(chosen.selectionStart(), chosen.selectionEnd() - chosen.selectionStart()));
    return copied;
}

bool CommandLineView::event(QEvent* event) {
    const bool taken = QPlainTextEdit::event(event);
    if (event->type() == QEvent::Paint) {
        // Paints the prompt next to the viewport, on the frame's background.
        QPainter painter(this);
        painter.setPen(Theme::color(ThemeColor::quiet));
        painter.drawText(QPoint(frameWidth() + qRound(document()->documentMargin()),
                                frameWidth() + qRound(document()->documentMargin()) + fontMetrics().ascent()),
                         QStringLiteral("$"));
    }
    return taken;
}

void CommandLineView::resizeEvent(QResizeEvent* event) {
    QPlainTextEdit::resizeEvent(event);
    if (isVisible()) {
        fitHeight();
    }
}

void CommandLineView::showEvent(QShowEvent* event) {
    QPlainTextEdit::showEvent(event);
    fitHeight();
}

void CommandLineView::fitHeight() {
    // The height of a plain text document is in lines.
    const int lines = qRound(document()->size().height());
    const Qt::ScrollBarPolicy policy = lines > maxLines ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff;
    if (verticalScrollBarPolicy() != policy) {
        setVerticalScrollBarPolicy(policy);
    }
    setFixedHeight(heightOf(qBound(1, lines, maxLines)));
}

int CommandLineView::heightOf(int lines) const {
    // The layout makes a line a little higher than the font's metrics.
    constexpr int slack = 2;
    return lines * fontMetrics().lineSpacing() + slack + 2 * (frameWidth() + qRound(document()->documentMargin()));
}

}  // namespace desktop
