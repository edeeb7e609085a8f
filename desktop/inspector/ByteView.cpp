#include "desktop/inspector/ByteView.h"

#include "desktop/look/spokenRole.h"
#include "desktop/look/theme.h"

#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QTextDocument>
#include <QToolTip>
#include <QtMath>

#include <algorithm>
#include <limits>

namespace desktop {

namespace {

constexpr int wide = 16;
constexpr int narrow = 8;
constexpr int group = 4;  // these bytes are drawn closer together

QChar shownCharacter(char byte) {
    return byte >= 0x20 && byte < 0x7F ? QChar(QLatin1Char(byte)) : QChar(u'·');
}

}  // namespace

ByteView::ByteView(QWidget* parent) : QAbstractScrollArea(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    viewport()->setCursor(Qt::IBeamCursor);
    setSpokenRole(*this, QAccessible::Document);
    setAccessibleName(tr("Bytes"));
    layOut();
}

void ByteView::setBytes(QByteArrayView bytes, std::shared_ptr<const void> owner, quint64 base) {
    bytes_ = bytes;
    owner_ = std::move(owner);
    base_ = base;
    current_ = 0;
    anchor_ = 0;
    chosenOffset_ = 0;
    chosenSize_ = 0;
    verticalScrollBar()->setValue(0);
    layOut();
}

void ByteView::mark(qint64 offset, qint64 size) {
    const qint64 all = bytes_.size();
    chosenOffset_ = std::clamp<qint64>(offset, 0, all);
    chosenSize_ = offset < 0 ? 0 : std::clamp<qint64>(size, 0, all - chosenOffset_);
    viewport()->update();
}

void ByteView::choose(qint64 offset, qint64 size) {
    mark(offset, size);
    if (chosenSize_ > 0) {
        current_ = chosenOffset_;
        anchor_ = current_;
        const qint64 row = chosenOffset_ / columns_;
        const qint64 lastRow = (chosenOffset_ + chosenSize_ - 1) / columns_;
        const int top = verticalScrollBar()->value();
        // If the selection isn't wholly visible, scroll to its first row, with one row of context above.
        if (row < top || lastRow >= top + visibleRows()) {
            verticalScrollBar()->setValue(static_cast<int>(std::max<qint64>(0, row - 1)));
        }
    }
}

QSize ByteView::sizeHint() const {
    return {textLeft(columns_) + Theme::labelGap() + verticalScrollBar()->sizeHint().width(), line_ * 8};
}

qint64 ByteView::rows() const {
    return (bytes_.size() + columns_ - 1) / columns_;
}

int ByteView::visibleRows() const {
    return std::max(1, viewport()->height() / line_);
}

void ByteView::layOut() {
    // A digit's width is a fraction of a pixel on some screens. Rounding it down would cut the last digit of a row.
    const QFontMetricsF metrics(Theme::fixedFont());
    cell_ = std::max(1, qCeil(metrics.horizontalAdvance(u'0')));
    line_ = qCeil(metrics.height()) + 2;
    digits_ = base_ + static_cast<quint64>(bytes_.size()) > (quint64{1} << 32) ? 16 : 8;
    columns_ = wide;
    if (textLeft(wide) > viewport()->width()) {
        columns_ = narrow;
    }
    constexpr qint64 most = std::numeric_limits<int>::max() / 2;
    verticalScrollBar()->setPageStep(visibleRows());
    verticalScrollBar()->setRange(0, static_cast<int>(std::clamp<qint64>(rows() - visibleRows(), 0, most)));
    viewport()->update();
}

int ByteView::hexLeft(int column) const {
    return Theme::labelGap() + cell_ * (digits_ + 2 + column * 3) + cell_ * (column / group);
}

int ByteView::textLeft(int column) const {
    return hexLeft(columns_) + cell_ * (1 + column);
}

void ByteView::showByte(qint64 offset) {
    const qint64 row = offset / columns_;
    const int top = verticalScrollBar()->value();
    if (row < top) {
        verticalScrollBar()->setValue(static_cast<int>(row));
    } else if (row >= top + visibleRows()) {
        verticalScrollBar()->setValue(static_cast<int>(row - visibleRows() + 1));
    }
}

void ByteView::goTo(qint64 offset) {
    if (bytes_.isEmpty()) {
        return;
    }
    current_ = std::clamp<qint64>(offset, 0, bytes_.size() - 1);
    anchor_ = current_;
    showByte(current_);
    viewport()->update();
    emit byteChosen(current_);
}

void ByteView::extendTo(qint64 offset) {
    current_ = std::clamp<qint64>(offset, 0, std::max<qint64>(0, bytes_.size() - 1));
    mark(std::min(anchor_, current_), std::max(anchor_, current_) - std::min(anchor_, current_) + 1);
    showByte(current_);
    emit stretchChosen();
}

// Copies hexadecimal text, which can be pasted anywhere.
void ByteView::copy() const {
    constexpr qint64 most = 1 << 20;
    const QByteArrayView chosen = bytes_.sliced(chosenOffset_, std::min(chosenSize_, most));
    if (!chosen.isEmpty()) {
        const QString text = QString::fromLatin1(chosen.toByteArray().toHex(' '));
        QApplication::clipboard()->setText(
            chosenSize_ <= most ? text : tr("%1\n%L2 more bytes are left out.").arg(text).arg(chosenSize_ - most));
    }
}

qint64 ByteView::byteAt(const QPoint& point) const {
    const qint64 row = verticalScrollBar()->value() + std::max(0, point.y()) / line_;
    int column = 0;
    if (point.x() >= textLeft(0) - cell_ / 2) {
        column = (point.x() - textLeft(0)) / cell_;
    } else {
        while (column + 1 < columns_ && hexLeft(column + 1) - cell_ / 2 <= point.x()) {
            ++column;
        }
    }
    return row * columns_ + std::clamp(column, 0, columns_ - 1);
}

bool ByteView::viewportEvent(QEvent* event) {
    if (event->type() != QEvent::ToolTip) {
        return QAbstractScrollArea::viewportEvent(event);
    }
    const auto* help = static_cast<QHelpEvent*>(event);
    const qint64 byte = byteAt(help->pos());
    const QString text = describer_ && byte < bytes_.size() ? describer_(byte) : QString();
    QToolTip::showText(help->globalPos(), text.isEmpty() ? QString() : Qt::convertFromPlainText(text), viewport());
    return true;
}

void ByteView::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.fillRect(event->rect(), palette().base());
    painter.setFont(Theme::fixedFont());
    if (bytes_.isEmpty()) {
        painter.setPen(Theme::color(ThemeColor::quiet));
        painter.setFont(font());
        painter.drawText(viewport()->rect(), Qt::AlignCenter, tr("No bytes."));
        return;
    }
    const int first = event->rect().top() / line_;
    const int last = event->rect().bottom() / line_;
    for (int i = first; i <= last; ++i) {
        const qint64 row = qint64{verticalScrollBar()->value()} + i;
        if (row < rows()) {
            paintRow(painter, row, i * line_);
        }
    }
}

void ByteView::paintRow(QPainter& painter, qint64 row, int top) const {
    const qint64 begin = row * columns_;
    const int count = static_cast<int>(std::min<qint64>(columns_, bytes_.size() - begin));
    const QColor quiet = Theme::color(ThemeColor::quiet);
    const QColor text = palette().color(QPalette::Text);
    painter.setPen(quiet);
    const QString offset =
        QString::number(base_ + static_cast<quint64>(begin), 16).toUpper().rightJustified(digits_, u'0');
    painter.drawText(QRect(Theme::labelGap(), top, cell_ * digits_, line_), Qt::AlignVCenter | Qt::AlignLeft, offset);

    // One band in each column marks the selected bytes of the row.
    const qint64 from = std::max(begin, chosenOffset_);
    const qint64 to = std::min(begin + count, chosenOffset_ + chosenSize_);
    if (from < to) {
        const int a = static_cast<int>(from - begin);
        const int b = static_cast<int>(to - begin);
        const QColor ground = Theme::color(ThemeColor::mapUsed);
        painter.fillRect(QRect(hexLeft(a) - cell_ / 2, top, hexLeft(b - 1) + 3 * cell_ - hexLeft(a), line_), ground);
        painter.fillRect(QRect(textLeft(a), top, textLeft(b) - textLeft(a), line_), ground);
    }
    for (int column = 0; column < count; ++column) {
        const char byte = bytes_.at(begin + column);
        const bool isChosen = begin + column >= from && begin + column < to;
        const QRect hex(hexLeft(column), top, cell_ * 2, line_);
        const QRect character(textLeft(column), top, cell_, line_);
        painter.setPen(byte == 0 && !isChosen ? quiet : text);
        painter.drawText(hex, Qt::AlignVCenter | Qt::AlignLeft,
                         QString::number(static_cast<unsigned char>(byte), 16).toUpper().rightJustified(2, u'0'));
        painter.setPen(shownCharacter(byte) == u'·' && !isChosen ? quiet : text);
        painter.drawText(character, Qt::AlignCenter, QString(shownCharacter(byte)));
        if (begin + column == current_) {
            painter.setPen(QPen(Theme::color(ThemeColor::accent), hasFocus() ? 2 : 1));
            painter.drawRect(hex.adjusted(-cell_ / 3, 1, cell_ / 3, -1));
            painter.drawRect(character.adjusted(0, 1, 0, -1));
        }
    }
}

void ByteView::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    const qint64 before = qint64{verticalScrollBar()->value()} * columns_;
    layOut();
    verticalScrollBar()->setValue(static_cast<int>(before / columns_));
}

void ByteView::changeEvent(QEvent* event) {
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) {
        layOut();
    }
}

void ByteView::focusInEvent(QFocusEvent* event) {
    QAbstractScrollArea::focusInEvent(event);
    viewport()->update();
}

void ByteView::focusOutEvent(QFocusEvent* event) {
    QAbstractScrollArea::focusOutEvent(event);
    viewport()->update();
}

void ByteView::mousePressEvent(QMouseEvent* event) {
    const qint64 byte = byteAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && byte < bytes_.size()) {
        goTo(byte);
    }
}

// Dragging selects bytes independently of the tree.
void ByteView::mouseMoveEvent(QMouseEvent* event) {
    const qint64 byte = byteAt(event->position().toPoint());
    if ((event->buttons() & Qt::LeftButton) != 0 && !bytes_.isEmpty() && byte != current_) {
        extendTo(byte);
    }
}

void ByteView::keyPressEvent(QKeyEvent* event) {
    const bool isControl = (event->modifiers() & Qt::ControlModifier) != 0;
    const qint64 page = qint64{columns_} * visibleRows();
    const qint64 rowStart = current_ / columns_ * columns_;
    if (event->matches(QKeySequence::Copy)) {
        return copy();
    }
    const auto move = [this, event](qint64 offset) {
        return (event->modifiers() & Qt::ShiftModifier) != 0 ? extendTo(offset) : goTo(offset);
    };
    switch (event->key()) {
        case Qt::Key_Left:
            return move(current_ - 1);
        case Qt::Key_Right:
            return move(current_ + 1);
        case Qt::Key_Up:
            return move(current_ < columns_ ? current_ : current_ - columns_);
        case Qt::Key_Down:
            return move(current_ + columns_ < bytes_.size() ? current_ + columns_ : current_);
        case Qt::Key_PageUp:
            return move(current_ - page);
        case Qt::Key_PageDown:
            return move(current_ + page);
        case Qt::Key_Home:
            return move(isControl ? 0 : rowStart);
        case Qt::Key_End:
            return move(isControl ? bytes_.size() - 1 : rowStart + columns_ - 1);
        default:
            QAbstractScrollArea::keyPressEvent(event);
    }
}

}  // namespace desktop
