#include "desktop/optionBytes/BitView.h"

#include "desktop/look/spokenRole.h"
#include "desktop/look/theme.h"
#include "desktop/optionBytes/optionByteText.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>

namespace desktop {

namespace {

constexpr qreal narrowestCell = 15;
constexpr qreal widestCell = 26;
constexpr int nibbleGap = 4;
constexpr int byteGap = 6;  // between two bytes, in addition to nibbleGap

QFont digitFont() {
    QFont font = Theme::fixedFont();
    font.setPointSizeF(font.pointSizeF() + 5);
    return font;
}

QFont smallFont() {
    QFont font = Theme::fixedFont();
    font.setPointSizeF(font.pointSizeF() - 2.5);
    return font;
}

bool isSet(std::uint32_t word, int bit) {
    return ((word >> bit) & 1) != 0;
}

int gapsOf(int bits) {
    return (bits / 4 - 1) * nibbleGap + (bits / 8 - 1) * byteGap;
}

}  // namespace

struct BitView::Heights {
    int digits;   ///< top of the hexadecimal digits
    int numbers;  ///< top of the bits' numbers
    int cells;
    int bands;
    int info;
    int end;
};

BitView::BitView(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setSpokenRole(*this, QAccessible::Graphic);
    setAccessibleName(tr("Bits of the word"));
}

void BitView::setFields(const QList<devices::DeviceField>& fields) {
    fields_ = fields;
    chosen_ = -1;
    pointed_ = -1;
    hoveredBit_ = -1;
    cursor_ = 0;
    update();
}

void BitView::setWord(const Word& word) {
    word_ = word;
    cursor_ = std::min(cursor_, word_.bits - 1);
    hoveredBit_ = std::min(hoveredBit_, word_.bits - 1);
    setAccessibleDescription(descriptionOf(cursor_));
    update();
}

void BitView::setChosen(int field) {
    chosen_ = field;
    if (field >= 0 && fieldOf(cursor_) != field) {
        cursor_ = static_cast<int>(fields_.at(field).bit);
    }
    update();
}

void BitView::setPointed(int field) {
    pointed_ = field;
    update();
}

BitView::Heights BitView::heights() const {
    Heights heights = {};
    const int line = fontMetrics().height();
    heights.numbers = QFontMetrics(digitFont()).height() + 2;
    heights.cells = heights.numbers + QFontMetrics(smallFont()).height() + 3;
    heights.bands = heights.cells + line + Theme::rowGap() + 3;
    heights.info = heights.bands + line + Theme::rowGap() + 4;
    heights.end = heights.info + line + 2;
    return heights;
}

QSize BitView::sizeHint() const {
    return {word_.bits * 20 + gapsOf(word_.bits) + 2, heights().end};
}

QSize BitView::minimumSizeHint() const {
    return {qRound(32 * narrowestCell) + gapsOf(32) + 2, heights().end};
}

qreal BitView::cellWidth() const {
    return std::clamp(qreal(width() - 2 - gapsOf(word_.bits)) / word_.bits, narrowestCell, widestCell);
}

QRect BitView::columnOf(int bit) const {
    const int place = word_.bits - 1 - bit;
    const int left = qRound(place * cellWidth());
    const int right = qRound((place + 1) * cellWidth());
    return {1 + left + place / 4 * nibbleGap + place / 8 * byteGap, 0, right - left, heights().bands};
}

QRect BitView::columnsOf(const devices::DeviceField& field) const {
    const int low = static_cast<int>(field.bit);
    const int high = std::min(static_cast<int>(field.bit + field.width), word_.bits) - 1;
    return columnOf(low).united(columnOf(std::max(low, high)));
}

int BitView::bitAt(int x) const {
    for (int bit = 0; bit < word_.bits; ++bit) {
        const QRect column = columnOf(bit);
        if (x >= column.left() && x <= column.right()) {
            return bit;
        }
    }
    return -1;
}

int BitView::fieldOf(int bit) const {
    for (int field = 0; field < fields_.size(); ++field) {
        if (bit >= 0 && isSet(fields_.at(field).mask(), bit)) {
            return field;
        }
    }
    return -1;
}

QString BitView::descriptionOf(int bit) const {
    const int index = fieldOf(bit);
    const QString is = isSet(word_.value, bit) ? QStringLiteral("1") : QStringLiteral("0");
    if (index < 0) {
        return fields_.isEmpty() ? tr("Bit %1 is %2").arg(QString::number(bit), is)
                                 : tr("Bit %1 is %2, of no field").arg(QString::number(bit), is);
    }
    const devices::DeviceField& field = fields_.at(index);
    const QString value = valueText(field, field.valueIn(word_.value));
    return field.width == 1 ? tr("Bit %1, %2: %3").arg(QString::number(bit), field.name, value)
                            : tr("Bit %1 is %2, in %3: %4").arg(QString::number(bit), is, field.name, value);
}

void BitView::moveCursor(int bit) {
    cursor_ = std::clamp(bit, 0, word_.bits - 1);
    setAccessibleDescription(descriptionOf(cursor_));
    emit fieldChosen(fieldOf(cursor_));
    update();
}

void BitView::toggle(int bit) {
    const int field = fieldOf(bit);
    if (field < 0 || fields_.at(field).access != devices::FieldAccess::readOnly) {
        emit bitToggled(bit);
    }
}

void BitView::mouseMoveEvent(QMouseEvent* event) {
    const int bit = bitAt(event->pos().x());
    const int field = fieldOf(bit);
    setCursor(bit < 0 || (field >= 0 && fields_.at(field).access == devices::FieldAccess::readOnly)
                  ? Qt::ArrowCursor
                  : Qt::PointingHandCursor);
    if (bit != hoveredBit_) {
        hoveredBit_ = bit;
        pointed_ = field;
        emit fieldPointed(field);
        update();
    }
}

void BitView::mousePressEvent(QMouseEvent* event) {
    const int bit = bitAt(event->pos().x());
    if (bit < 0 || event->button() != Qt::LeftButton) {
        return;
    }
    moveCursor(bit);
    if (event->pos().y() < heights().bands) {
        toggle(bit);
    }
}

void BitView::leaveEvent(QEvent* /*event*/) {
    hoveredBit_ = -1;
    pointed_ = -1;
    emit fieldPointed(-1);
    update();
}

void BitView::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Left:
            moveCursor(cursor_ + 1);
            break;
        case Qt::Key_Right:
            moveCursor(cursor_ - 1);
            break;
        case Qt::Key_Home:
            moveCursor(word_.bits - 1);
            break;
        case Qt::Key_End:
            moveCursor(0);
            break;
        case Qt::Key_Space:
            toggle(cursor_);
            break;
        default:
            QWidget::keyPressEvent(event);
    }
}

void BitView::focusInEvent(QFocusEvent* event) {
    QWidget::focusInEvent(event);
    emit fieldChosen(fieldOf(cursor_));
}

void BitView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        update();
    }
}

void BitView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    paintDigits(painter);
    for (int field = 0; field < fields_.size(); ++field) {
        paintBand(painter, field);
    }
    for (int bit = 0; bit < word_.bits; ++bit) {
        paintBit(painter, bit);
    }
    for (const int field : {pointed_, chosen_}) {
        if (field >= 0 && field < fields_.size()) {
            QRectF outline = columnsOf(fields_.at(field));
            outline.setTop(heights().cells);
            outline.setBottom(heights().info - 4);
            painter.setPen(QPen(Theme::color(ThemeColor::accent), field == chosen_ ? 2 : 1));
            painter.setBrush(Qt::NoBrush);
            painter.drawRoundedRect(outline.adjusted(-0.5, -1.5, 0.5, 0.5), 3, 3);
        }
    }
    if (hasFocus()) {
        QRectF cell = columnOf(cursor_);
        cell.setTop(heights().cells);
        cell.setBottom(heights().bands - 3);
        painter.setPen(QPen(palette().color(QPalette::WindowText), 1.5, Qt::DotLine));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(cell.adjusted(2.5, 2.5, -2.5, -2.5));
    }
    paintInfo(painter);
}

void BitView::paintDigits(QPainter& painter) const {
    painter.setFont(digitFont());
    for (int bit = 0; bit < word_.bits; bit += 4) {
        const QRect columns = columnOf(bit).united(columnOf(bit + 3));
        const std::uint32_t digit = (word_.value >> bit) & 0xF;
        const bool isEdited = digit != ((word_.saved >> bit) & 0xF);
        painter.setPen(isEdited ? Theme::color(ThemeColor::changed) : palette().color(QPalette::WindowText));
        painter.drawText(QRect(columns.left(), 0, columns.width(), heights().numbers), Qt::AlignCenter,
                         QString::number(digit, 16).toUpper());
    }
}

void BitView::paintBit(QPainter& painter, int bit) const {
    const Heights at = heights();
    const QRect column = columnOf(bit);
    const QRectF cell(column.left() + 0.5, at.cells + 0.5, column.width() - 1, at.bands - 4 - at.cells);
    const int field = fieldOf(bit);
    const bool isFixed = field >= 0 && fields_.at(field).access == devices::FieldAccess::readOnly;
    const bool isOne = isSet(word_.value, bit);
    const bool isEdited = isOne != isSet(word_.saved, bit);
    const QColor changed = Theme::color(ThemeColor::changed);

    painter.setFont(smallFont());
    painter.setPen(Theme::color(ThemeColor::quiet));
    painter.drawText(QRect(column.left() - 2, at.numbers, column.width() + 4, at.cells - at.numbers), Qt::AlignCenter,
                     QString::number(bit));

    QColor ground = palette().color(isFixed || (field < 0 && !fields_.isEmpty()) ? QPalette::Window : QPalette::Base);
    if (isEdited) {
        ground = changed;
        ground.setAlphaF(Theme::isDark() ? 0.30F : 0.18F);
    }
    painter.setBrush(ground);
    painter.setPen(isEdited ? changed : Theme::color(ThemeColor::line));
    painter.drawRect(cell);
    if (word_.reset && isOne != isSet(*word_.reset, bit)) {
        const qreal side = column.width() / 3.0;
        const QPointF corner = cell.topRight();
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::color(ThemeColor::warning));
        painter.drawPolygon(QPolygonF({corner, corner - QPointF(side, 0), corner + QPointF(0, side)}));
    }
    QFont font = Theme::fixedFont();
    font.setBold(isOne);
    painter.setFont(font);
    painter.setPen(isEdited ? changed
                   : isOne  ? palette().color(QPalette::WindowText)
                            : Theme::color(ThemeColor::quiet));
    painter.drawText(cell, Qt::AlignCenter, isOne ? QStringLiteral("1") : QStringLiteral("0"));
}

void BitView::paintBand(QPainter& painter, int index) const {
    const devices::DeviceField& field = fields_.at(index);
    if (static_cast<int>(field.bit) >= word_.bits) {
        return;
    }
    const Heights at = heights();
    const QRect columns = columnsOf(field);
    const QRect band(columns.left() + 1, at.bands, columns.width() - 2, at.info - 5 - at.bands);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::color(ThemeColor::mapUsed));
    painter.drawRoundedRect(band, 3, 3);
    painter.setFont(font());
    painter.setPen(palette().color(QPalette::WindowText));
    const QString number = QString::number(index + 1);
    const QString name = number + QStringLiteral("  ") + field.name;
    const int room = band.width() - Theme::rowGap();
    painter.drawText(band, Qt::AlignCenter | Qt::TextSingleLine,
                     painter.fontMetrics().horizontalAdvance(name) <= room ? name : number);
}

void BitView::paintInfo(QPainter& painter) const {
    const Heights at = heights();
    QRect room(0, at.info, width(), at.end - at.info);
    painter.setFont(font());
    // The legend is at the right end. It explains only the marks that occur in the word.
    struct Mark {
        bool isThere;
        ThemeColor color;
        QString text;
    };
    const std::uint32_t shown = 0xFFFFFFFF >> (32 - word_.bits);
    const Mark marks[] = {
        {word_.reset && ((word_.value ^ *word_.reset) & shown) != 0, ThemeColor::warning, tr("not as reset")},
        {word_.value != word_.saved, ThemeColor::changed, tr("changed")},
    };
    for (const Mark& mark : marks) {
        if (!mark.isThere) {
            continue;
        }
        const int width = painter.fontMetrics().horizontalAdvance(mark.text);
        painter.setPen(Theme::color(ThemeColor::quiet));
        painter.drawText(room, Qt::AlignRight | Qt::AlignVCenter | Qt::TextSingleLine, mark.text);
        const int side = painter.fontMetrics().xHeight() + 2;
        const QRectF box(room.right() - width - Theme::rowGap() - side, room.center().y() - side / 2.0 + 1, side, side);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::color(mark.color));
        if (mark.color == ThemeColor::warning) {
            painter.drawPolygon(QPolygonF({box.topRight(), box.topLeft(), box.bottomRight()}));
        } else {
            painter.drawRect(box);
        }
        room.setRight(static_cast<int>(box.left()) - Theme::groupGap());
    }
    const int bit = hoveredBit_ >= 0 ? hoveredBit_ : hasFocus() ? cursor_ : -1;
    if (bit >= 0) {
        painter.setPen(palette().color(QPalette::WindowText));
        painter.drawText(room, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                         painter.fontMetrics().elidedText(descriptionOf(bit), Qt::ElideRight, room.width()));
    }
}

}  // namespace desktop
