#include "desktop/inspector/MemoryMap.h"

#include "desktop/inspector/MemoryMapModel.h"
#include "desktop/look/spokenRole.h"
#include "desktop/look/theme.h"
#include "jobs/counted.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>

#include <algorithm>
#include <array>
#include <cmath>

namespace desktop {

namespace {

/// The height of a block in lines of text.
double linesOf(MapBlockKind kind, quint64 size) {
    if (kind == MapBlockKind::gap) {
        return 2.2;
    }
    return 2.4 + 0.16 * std::log2(static_cast<double>(size));
}

/// A zigzag line across a block.
QPolygonF tornLine(const QRectF& rect, double y) {
    constexpr double step = 5;
    QPolygonF line;
    const int turns = static_cast<int>(std::ceil(rect.width() / step));
    for (int turn = 0; turn < turns; ++turn) {
        line.append(QPointF(rect.left() + turn * step, y + (turn % 2 == 0 ? 1.5 : -1.5)));
    }
    line.append(QPointF(rect.right(), y));
    return line;
}

QColor mixed(const QColor& a, const QColor& b, double part) {
    const auto mix = [part](int x, int y) { return static_cast<int>(std::lround(x + (y - x) * part)); };
    return {mix(a.red(), b.red()), mix(a.green(), b.green()), mix(a.blue(), b.blue())};
}

}  // namespace

MemoryMap::MemoryMap(QWidget* parent) : QAbstractItemView(parent) {
    setSelectionMode(SingleSelection);
    setSelectionBehavior(SelectRows);
    setEditTriggers(NoEditTriggers);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(ScrollPerPixel);
    setMouseTracking(true);
    setSpokenRole(*this, QAccessible::Graphic);
    setAccessibleName(tr("Memory map"));
}

QColor MemoryMap::kindColor(int kind) {
    constexpr std::array accents = {ThemeColor::accent, ThemeColor::success, ThemeColor::changed, ThemeColor::warning};
    return Theme::color(accents[static_cast<std::size_t>(std::max(kind, 0)) % accents.size()]);
}

void MemoryMap::reset() {
    QAbstractItemView::reset();
    hovered_ = -1;
    layOut();
    speak(QModelIndex());
}

void MemoryMap::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QAbstractItemView::currentChanged(current, previous);
    speak(current);
}

/// Sets the spoken description: the whole picture, then the chosen block.
void MemoryMap::speak(const QModelIndex& chosen) {
    const int rows = model() == nullptr ? 0 : model()->rowCount();
    if (rows == 0) {
        setAccessibleDescription(emptyText());
        return;
    }
    const auto textOf = [this](int row, int column) { return model()->index(row, column).data().toString(); };
    QString text = jobs::counted(rows, tr("1 block from %2 to %3."), tr("%1 blocks from %2 to %3."))
                       .arg(textOf(0, MemoryMapModel::Start), textOf(rows - 1, MemoryMapModel::End));
    if (chosen.isValid()) {
        text += tr(" Chosen: %1, %2 to %3, %4.")
                    .arg(textOf(chosen.row(), MemoryMapModel::What), textOf(chosen.row(), MemoryMapModel::Start),
                         textOf(chosen.row(), MemoryMapModel::End), textOf(chosen.row(), MemoryMapModel::Size));
    }
    setAccessibleDescription(text);
}

QString MemoryMap::emptyText() {
    return tr("Nothing here has a place in memory.");
}

void MemoryMap::layOut() {
    const int rows = model() == nullptr ? 0 : model()->rowCount();
    const int line = fontMetrics().height();
    tops_.assign(1, Theme::rowGap());
    tops_.reserve(static_cast<std::size_t>(rows) + 1);
    std::vector<double> lines;
    lines.reserve(static_cast<std::size_t>(rows));
    double all = 0;
    for (int row = 0; row < rows; ++row) {
        const QModelIndex index = model()->index(row, 0);
        const auto kind = static_cast<MapBlockKind>(index.data(MemoryMapModel::KindRole).toInt());
        lines.push_back(linesOf(kind, index.data(MemoryMapModel::SizeRole).toULongLong()));
        all += lines.back();
    }
    // If the blocks don't fill the view, they grow to fill it, but at most by the factor `most`.
    constexpr double most = 1.8;
    const double room = viewport()->height() - 2 * Theme::rowGap();
    const double stretch = all > 0 ? std::clamp(room / (all * line), 1.0, most) : 1.0;
    for (const double height : lines) {
        tops_.push_back(tops_.back() + static_cast<int>(height * line * stretch));
    }
    const int height = tops_.back() + Theme::rowGap();
    verticalScrollBar()->setPageStep(viewport()->height());
    verticalScrollBar()->setSingleStep(line);
    verticalScrollBar()->setRange(0, std::max(0, height - viewport()->height()));
    viewport()->update();
}

int MemoryMap::gutter() const {
    return QFontMetrics(Theme::fixedFont()).horizontalAdvance(QStringLiteral("0x00000000")) + 2 * Theme::rowGap();
}

QRect MemoryMap::visualRect(const QModelIndex& index) const {
    const auto row = static_cast<std::size_t>(index.row());
    if (!index.isValid() || row + 1 >= tops_.size()) {
        return {};
    }
    return {0, tops_[row] - verticalOffset(), viewport()->width(), tops_[row + 1] - tops_[row]};
}

void MemoryMap::scrollTo(const QModelIndex& index, ScrollHint /*hint*/) {
    const QRect rect = visualRect(index);
    if (rect.isEmpty()) {
        return;
    }
    if (rect.top() < 0) {
        verticalScrollBar()->setValue(verticalOffset() + rect.top() - Theme::rowGap());
    } else if (rect.bottom() > viewport()->height()) {
        verticalScrollBar()->setValue(verticalOffset() +
                                      std::min(rect.top(), rect.bottom() - viewport()->height() + Theme::rowGap()));
    }
}

QModelIndex MemoryMap::indexAt(const QPoint& point) const {
    const int y = point.y() + verticalOffset();
    const auto next = std::upper_bound(tops_.begin(), tops_.end(), y);
    if (model() == nullptr || next == tops_.begin() || next == tops_.end()) {
        return {};
    }
    return model()->index(static_cast<int>(next - tops_.begin()) - 1, 0);
}

QSize MemoryMap::sizeHint() const {
    return {gutter() + fontMetrics().averageCharWidth() * 26, fontMetrics().height() * 12};
}

QModelIndex MemoryMap::moveCursor(CursorAction action, Qt::KeyboardModifiers /*modifiers*/) {
    const int rows = model() == nullptr ? 0 : model()->rowCount();
    if (rows == 0) {
        return {};
    }
    const int row = currentIndex().row();
    const auto pageFrom = [&](int sign) {
        const QModelIndex there =
            indexAt(QPoint(0, visualRect(currentIndex()).top() + sign * std::max(1, viewport()->height())));
        return there.isValid() ? there.row() : sign < 0 ? 0 : rows - 1;
    };
    int next = rows - 1;
    switch (action) {
        case MoveUp:
        case MoveLeft:
        case MovePrevious:
            next = row - 1;
            break;
        case MoveDown:
        case MoveRight:
        case MoveNext:
            next = row + 1;
            break;
        case MoveHome:
            next = 0;
            break;
        case MoveEnd:
            break;
        case MovePageUp:
            next = pageFrom(-1);
            break;
        case MovePageDown:
            next = pageFrom(1);
            break;
    }
    return model()->index(std::clamp(next, 0, rows - 1), 0);
}

int MemoryMap::horizontalOffset() const {
    return 0;
}

int MemoryMap::verticalOffset() const {
    return verticalScrollBar()->value();
}

bool MemoryMap::isIndexHidden(const QModelIndex& /*index*/) const {
    return false;
}

void MemoryMap::setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags command) {
    const QModelIndex index = indexAt(rect.topLeft());
    if (index.isValid()) {
        selectionModel()->select(index, command);
    }
}

QRegion MemoryMap::visualRegionForSelection(const QItemSelection& selection) const {
    QRegion region;
    for (const QModelIndex& index : selection.indexes()) {
        region += visualRect(index);
    }
    return region;
}

void MemoryMap::resizeEvent(QResizeEvent* event) {
    QAbstractItemView::resizeEvent(event);
    layOut();
}

void MemoryMap::changeEvent(QEvent* event) {
    QAbstractItemView::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) {
        layOut();
    }
}

void MemoryMap::setHovered(int row) {
    if (row != hovered_) {
        hovered_ = row;
        viewport()->update();
    }
}

void MemoryMap::mouseMoveEvent(QMouseEvent* event) {
    QAbstractItemView::mouseMoveEvent(event);
    setHovered(indexAt(event->position().toPoint()).row());
}

void MemoryMap::leaveEvent(QEvent* event) {
    QAbstractItemView::leaveEvent(event);
    setHovered(-1);
}

void MemoryMap::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.fillRect(event->rect(), palette().base());
    if (model() == nullptr) {
        return;
    }
    const int rows = model()->rowCount();
    if (rows == 0) {
        painter.setPen(Theme::color(ThemeColor::quiet));
        painter.drawText(viewport()->rect().adjusted(Theme::labelGap(), 0, -Theme::labelGap(), 0),
                         Qt::AlignCenter | Qt::TextWordWrap, emptyText());
        return;
    }
    const QModelIndex first = indexAt(event->rect().topLeft());
    for (int row = first.isValid() ? first.row() : 0; row < rows; ++row) {
        const QModelIndex index = model()->index(row, 0);
        const QRect rect = visualRect(index);
        if (rect.top() > event->rect().bottom()) {
            break;
        }
        paintRow(painter, index, rect);
    }
}

void MemoryMap::paintRow(QPainter& painter, const QModelIndex& index, const QRect& rect) const {
    const QRect block = rect.adjusted(gutter(), 1, -Theme::rowGap(), -1);
    const auto kind = static_cast<MapBlockKind>(index.data(MemoryMapModel::KindRole).toInt());
    if (kind == MapBlockKind::gap) {
        paintGap(painter, index, block);
    } else {
        paintBlock(painter, index, block);
        const QRect gutterRect(Theme::rowGap(), rect.top(), gutter() - 2 * Theme::rowGap(), rect.height() - 2);
        const bool isSelected = selectionModel()->isSelected(index);
        painter.setFont(Theme::fixedFont());
        painter.setPen(isSelected ? palette().color(QPalette::Text) : Theme::color(ThemeColor::quiet));
        painter.drawText(gutterRect, Qt::AlignTop | Qt::AlignRight,
                         index.siblingAtColumn(MemoryMapModel::Start).data().toString());
        painter.drawText(gutterRect, Qt::AlignBottom | Qt::AlignRight,
                         index.siblingAtColumn(MemoryMapModel::End).data().toString());
    }
    const bool isCurrent = hasFocus() && index.row() == currentIndex().row();
    if (selectionModel()->isSelected(index) || isCurrent) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(Theme::color(ThemeColor::accent), isCurrent ? 2.5 : 2));
        painter.drawRoundedRect(QRectF(block).adjusted(1, 1, -1, -1), 3, 3);
        painter.setRenderHint(QPainter::Antialiasing, false);
    }
}

void MemoryMap::paintGap(QPainter& painter, const QModelIndex& index, const QRect& block) const {
    const QString text = tr("%1, %2").arg(index.data(MemoryMapModel::TitleRole).toString(),
                                          index.siblingAtColumn(MemoryMapModel::Size).data().toString());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Theme::color(ThemeColor::quiet), 1.2));
    const double inset = block.height() / 5.0;
    painter.drawPolyline(tornLine(QRectF(block), block.top() + inset - 2));
    painter.drawPolyline(tornLine(QRectF(block), block.bottom() - inset + 2));
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setFont(font());
    painter.drawText(block, Qt::AlignCenter, fontMetrics().elidedText(text, Qt::ElideRight, block.width()));
}

void MemoryMap::paintBlock(QPainter& painter, const QModelIndex& index, const QRect& block) const {
    const auto kind = static_cast<MapBlockKind>(index.data(MemoryMapModel::KindRole).toInt());
    const bool isCollision = kind == MapBlockKind::collision;
    const QColor stripe =
        isCollision ? Theme::color(ThemeColor::fault) : kindColor(index.data(MemoryMapModel::ColorRole).toInt());
    const QColor base = palette().color(QPalette::Base);
    QColor ground = isCollision ? Theme::color(ThemeColor::mapFault) : mixed(base, stripe, 0.16);
    if (index.row() == hovered_) {
        ground = mixed(ground, stripe, 0.1);
    }
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath shape;
    shape.addRoundedRect(QRectF(block), 3, 3);
    painter.fillPath(shape, ground);
    painter.setClipPath(shape);
    if (isCollision) {
        painter.fillRect(block, QBrush(mixed(ground, stripe, 0.45), Qt::BDiagPattern));
    }
    const int width = std::max(4, Theme::rowGap() * 2 / 3);
    painter.fillRect(QRect(block.left(), block.top(), width, block.height()), stripe);
    painter.setClipping(false);
    painter.setRenderHint(QPainter::Antialiasing, false);

    const QRect text = block.adjusted(width + Theme::rowGap(), 0, -Theme::rowGap(), 0);
    paintWords(painter, index, text, isCollision ? ground : QColor());
}

/// Paints the content, the name and the size of a block. In a low block the name and the size share a line. If `ground`
/// is valid, it fills the area under the text, so that the text is readable on hatching.
void MemoryMap::paintWords(QPainter& painter, const QModelIndex& index, const QRect& rect, const QColor& ground) const {
    const int line = fontMetrics().height();
    const QString detail = index.data(MemoryMapModel::DetailRole).toString();
    const QString size = index.siblingAtColumn(MemoryMapModel::Size).data().toString();
    QStringList lines = {index.data(MemoryMapModel::TitleRole).toString()};
    if (detail.isEmpty()) {
        lines << size;
    } else if (rect.height() >= 3 * line) {
        lines << detail << size;
    } else {
        lines << tr("%1, %2").arg(detail, size);
    }
    QFont bold = font();
    bold.setWeight(QFont::DemiBold);
    QRect row(rect.left(), rect.top() + (rect.height() - line * static_cast<int>(lines.size())) / 2, rect.width(),
              line);
    for (const QString& words : lines) {
        painter.setFont(words == lines.constFirst() ? bold : font());
        const QString shown = painter.fontMetrics().elidedText(words, Qt::ElideRight, row.width());
        if (ground.isValid()) {
            painter.fillRect(row.left() - 2, row.top(), painter.fontMetrics().horizontalAdvance(shown) + 4, line,
                             ground);
        }
        painter.setPen(palette().color(QPalette::Text));
        painter.drawText(row, Qt::AlignLeft | Qt::AlignVCenter, shown);
        row.translate(0, line);
    }
}

}  // namespace desktop
