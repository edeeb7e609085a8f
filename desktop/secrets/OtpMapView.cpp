#include "desktop/secrets/OtpMapView.h"

#include "desktop/look/spokenRole.h"
#include "desktop/look/theme.h"

#include <QFontMetrics>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QTextDocument>
#include <QToolTip>

#include <algorithm>

namespace desktop {

namespace {

constexpr int mostColumns = 32;

QFont smallFont(const QFont& font) {
    QFont small = font;
    small.setPointSizeF(font.pointSizeF() - 1.5);
    return small;
}

}  // namespace

/// The layout of the cells.
struct OtpMapView::Grid {
    int columns = mostColumns;
    int rows = 0;
    int left = 0;   ///< the left edge of the first column, after the word numbers
    int width = 0;  ///< width of all columns
    int rowHeight = 1;

    [[nodiscard]] int columnLeft(int column) const { return left + column * width / columns; }
    [[nodiscard]] QRect cell(qsizetype word) const {
        const int index = static_cast<int>(word);
        const int x = columnLeft(index % columns);
        return {x, index / columns * rowHeight + 1, columnLeft(index % columns + 1) - x, rowHeight};
    }
    /// The cells from `first` to `last`, which are in one row.
    [[nodiscard]] QRect run(qsizetype first, qsizetype last) const { return cell(first).united(cell(last)); }
};

OtpMapView::OtpMapView(QWidget* parent) : QWidget(parent) {
    setSpokenRole(*this, QAccessible::Graphic);
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void OtpMapView::setFuses(const devices::DeviceFuses& fuses) {
    fuses_ = fuses;
    map_ = devices::mapOtp(fuses, {});
    names_.clear();
    cursor_ = std::min<qsizetype>(cursor_, std::max<qsizetype>(0, map_.words.size() - 1));
    updateGeometry();
    update();
    emit pointedAt(QString());
}

void OtpMapView::setMap(const devices::OtpMap& map, const QStringList& names) {
    map_ = map;
    names_ = names;
    update();
    emit pointedAt(hasFocus() ? descriptionOf(static_cast<std::uint32_t>(cursor_)) : QString());
}

void OtpMapView::setChosen(const devices::OtpItem& item) {
    chosen_ = item;
    update();
}

QString OtpMapView::summary() const {
    const auto countOf = [this](auto condition) {
        return QString::number(std::count_if(map_.words.begin(), map_.words.end(), condition));
    };
    return tr("%1 words: %2 filled, %3 to be filled, %4 in collision.")
        .arg(QString::number(map_.words.size()),
             countOf([](const devices::OtpWord& word) { return word.use == devices::OtpUse::used; }),
             countOf([this](const devices::OtpWord& word) { return mustBeFilled(word); }),
             countOf([](const devices::OtpWord& word) { return word.use == devices::OtpUse::collision; }));
}

QString OtpMapView::descriptionOf(std::uint32_t word) const {
    if (word >= map_.words.size()) {
        return {};
    }
    const devices::OtpWord& at = map_.words.at(word);
    const QString purpose = at.fuse < 0 ? tr("Word %1, not described").arg(word)
                                        : tr("Word %1, %2").arg(QString::number(word), fuses_.words.at(at.fuse).name);
    const QString description = at.fuse < 0 || fuses_.words.at(at.fuse).description.isEmpty()
                                    ? QString()
                                    : u' ' + fuses_.words.at(at.fuse).description + u'.';
    const QString leftOut =
        at.fuse >= 0 && !fuses_.words.at(at.fuse).mayBeLeftOut ? tr("must be filled, and is free") : tr("free");
    switch (at.use) {
        case devices::OtpUse::collision: {
            QStringList wanting;
            for (const devices::OtpCollision& collision : map_.collisions) {
                if (word >= collision.word && word - collision.word < collision.count) {
                    for (const qsizetype item : {collision.first, collision.second}) {
                        if (const QString name = tr("“%1”").arg(names_.value(item)); !wanting.contains(name)) {
                            wanting += name;
                        }
                    }
                }
            }
            return tr("%1: collision of %2.").arg(purpose, wanting.join(tr(" and ")));
        }
        case devices::OtpUse::used:
            return tr("%1: filled by “%2”.").arg(purpose, names_.value(at.item)) + description;
        case devices::OtpUse::free:
            return tr("%1: %2.").arg(purpose, leftOut) + description;
        case devices::OtpUse::undescribed:
            break;
    }
    return tr("%1: free.").arg(purpose);
}

/// Rows grow with the available height, up to twice the height of a line.
OtpMapView::Grid OtpMapView::grid(int width, int height) const {
    const QFontMetrics metrics(smallFont(font()));
    Grid grid;
    grid.left = metrics.horizontalAdvance(QStringLiteral("0000")) + Theme::rowGap();
    grid.width = std::max(1, width - grid.left - 2);
    while (grid.columns > 8 && grid.width / grid.columns < metrics.averageCharWidth() * 2) {
        grid.columns /= 2;
    }
    grid.rows = (static_cast<int>(map_.words.size()) + grid.columns - 1) / grid.columns;
    const int least = metrics.height() + Theme::rowGap() / 3;
    grid.rowHeight = std::clamp((height - 3) / std::max(1, grid.rows), least, 2 * metrics.height());
    return grid;
}

OtpMapView::Grid OtpMapView::grid() const {
    return grid(width(), height());
}

QSize OtpMapView::sizeHint() const {
    const int width = QFontMetrics(font()).averageCharWidth() * 80;
    return {width, heightForWidth(width)};
}

int OtpMapView::heightForWidth(int width) const {
    const Grid place = grid(width, 0);
    return std::max(1, place.rows) * place.rowHeight + 3;
}

qsizetype OtpMapView::wordAt(const QPoint& place) const {
    const Grid cells = grid();
    if (place.x() < cells.left || place.x() >= cells.left + cells.width || place.y() < 1) {
        return -1;
    }
    int column = (place.x() - cells.left) * cells.columns / cells.width;
    if (column + 1 < cells.columns && place.x() >= cells.columnLeft(column + 1)) {
        ++column;  // the left edges are rounded down
    }
    const qsizetype word = qsizetype{(place.y() - 1) / cells.rowHeight} * cells.columns + column;
    return word < map_.words.size() ? word : -1;
}

bool OtpMapView::mustBeFilled(const devices::OtpWord& word) const {
    return word.use == devices::OtpUse::free && !fuses_.words.at(word.fuse).mayBeLeftOut;
}

void OtpMapView::paintWord(QPainter& painter, const QRect& cell, devices::OtpUse use) {
    switch (use) {
        case devices::OtpUse::collision:
            painter.fillRect(cell, Theme::color(ThemeColor::mapFault));
            painter.fillRect(cell, QBrush(Theme::color(ThemeColor::fault), Qt::BDiagPattern));
            break;
        case devices::OtpUse::used:
            painter.fillRect(cell, Theme::color(ThemeColor::mapUsed));
            break;
        case devices::OtpUse::free:
            painter.fillRect(cell, Theme::color(ThemeColor::mapBlock));
            break;
        case devices::OtpUse::undescribed:
            break;
    }
}

void OtpMapView::paintMark(QPainter& painter, const QRect& cell) {
    const QPoint corner = cell.topLeft() + QPoint(cell.width(), 0);
    const int side = std::min(cell.width(), cell.height()) / 2;
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::color(ThemeColor::warning));
    painter.drawConvexPolygon(QPolygon({corner, corner - QPoint(side, 0), corner + QPoint(0, side)}));
    painter.setBrush(Qt::NoBrush);
}

void OtpMapView::paintCells(QPainter& painter, const Grid& cells, qsizetype begin, qsizetype end) const {
    for (qsizetype word = begin; word < end; ++word) {
        const QRect cell = cells.cell(word);
        paintWord(painter, cell, map_.words.at(word).use);
        painter.setPen(Theme::color(ThemeColor::line));
        painter.drawRect(cell);
    }
}

/// Call this after all cells are painted, because the outlines cover the edges of their neighbours.
void OtpMapView::paintNames(QPainter& painter, const Grid& cells, qsizetype begin, qsizetype end) const {
    const QFontMetrics metrics(painter.font());
    for (qsizetype word = begin; word < end;) {
        const qsizetype first = word;
        const qsizetype fuse = map_.words.at(first).fuse;
        qsizetype toFill = -1;
        while (word < end && map_.words.at(word).fuse == fuse) {
            toFill = mustBeFilled(map_.words.at(word)) ? word : toFill;
            ++word;
        }
        if (fuse < 0) {
            continue;
        }
        const QRect run = cells.run(first, word - 1);
        if (toFill >= 0) {
            paintMark(painter, cells.cell(toFill));
        }
        painter.setPen(Theme::color(ThemeColor::quiet));
        painter.drawRect(run);
        const devices::FuseWords& described = fuses_.words.at(fuse);
        const int room = run.width() - Theme::rowGap();
        if (static_cast<std::uint32_t>(first) == described.index && room >= metrics.averageCharWidth() * 5) {
            painter.setPen(palette().color(QPalette::WindowText));
            painter.drawText(run.adjusted(Theme::rowGap() / 2, 0, -Theme::rowGap() / 2, 0),
                             Qt::AlignLeft | Qt::AlignVCenter,
                             metrics.elidedText(described.name, Qt::ElideRight, room));
        }
    }
}

void OtpMapView::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.setFont(smallFont(font()));
    const Grid cells = grid();
    const int firstRow = std::max(0, event->rect().top() / cells.rowHeight - 1);
    const int lastRow = std::min(cells.rows - 1, event->rect().bottom() / cells.rowHeight + 1);
    const auto rowStart = [&](int row) { return std::min(qsizetype{row} * cells.columns, map_.words.size()); };
    for (int row = firstRow; row <= lastRow; ++row) {
        const QRect first = cells.cell(rowStart(row));
        painter.setPen(Theme::color(ThemeColor::quiet));
        painter.drawText(QRect(0, first.top(), cells.left - Theme::rowGap(), first.height()),
                         Qt::AlignRight | Qt::AlignVCenter, QString::number(rowStart(row)));
        paintCells(painter, cells, rowStart(row), rowStart(row + 1));
    }
    for (int row = firstRow; row <= lastRow; ++row) {
        paintNames(painter, cells, rowStart(row), rowStart(row + 1));
    }
    painter.setBrush(Qt::NoBrush);
    for (int row = firstRow; row <= lastRow; ++row) {
        const qsizetype first = std::max<qsizetype>(rowStart(row), chosen_.first);
        const auto end = static_cast<qsizetype>(
            std::min<std::uint64_t>(chosen_.end(), static_cast<std::uint64_t>(rowStart(row + 1))));
        if (first < end) {
            painter.setPen(QPen(Theme::color(ThemeColor::accent), 2));
            painter.drawRect(cells.run(first, end - 1).adjusted(1, 1, 0, 0));
        }
    }
    if (hasFocus() && cursor_ < map_.words.size()) {
        painter.setPen(QPen(palette().color(QPalette::WindowText), 1, Qt::DotLine));
        painter.drawRect(cells.cell(cursor_).adjusted(3, 3, -3, -3));
    }
}

bool OtpMapView::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        const qsizetype word = wordAt(help->pos());
        // Names come from a file, so they are shown as plain text.
        QToolTip::showText(
            help->globalPos(),
            word < 0 ? QString() : Qt::convertFromPlainText(descriptionOf(static_cast<std::uint32_t>(word))), this);
        return true;
    }
    return QWidget::event(event);
}

void OtpMapView::point(qsizetype word) {
    if (word >= 0 && word < map_.words.size()) {
        cursor_ = word;
        emit pointedAt(descriptionOf(static_cast<std::uint32_t>(word)));
        emit cursorMoved(grid().cell(word));
        update();
    }
}

void OtpMapView::choose(qsizetype word, bool addsFree) {
    if (word < 0 || word >= map_.words.size()) {
        return;
    }
    point(word);
    if (map_.words.at(word).item >= 0) {
        emit itemChosen(map_.words.at(word).item);
    } else if (addsFree) {
        emit freeWordChosen(static_cast<std::uint32_t>(word));
    }
}

void OtpMapView::mouseMoveEvent(QMouseEvent* event) {
    const qsizetype word = wordAt(event->position().toPoint());
    emit pointedAt(word < 0 ? QString() : descriptionOf(static_cast<std::uint32_t>(word)));
}

void OtpMapView::mousePressEvent(QMouseEvent* event) {
    choose(wordAt(event->position().toPoint()), false);
}

void OtpMapView::mouseDoubleClickEvent(QMouseEvent* event) {
    choose(wordAt(event->position().toPoint()), true);
}

void OtpMapView::leaveEvent(QEvent* event) {
    QWidget::leaveEvent(event);
    emit pointedAt(QString());
}

void OtpMapView::keyPressEvent(QKeyEvent* event) {
    const int columns = grid().columns;
    switch (event->key()) {
        case Qt::Key_Left:
            return point(cursor_ - 1);
        case Qt::Key_Right:
            return point(cursor_ + 1);
        case Qt::Key_Up:
            return point(cursor_ - columns);
        case Qt::Key_Down:
            return point(cursor_ + columns);
        case Qt::Key_Home:
            return point(0);
        case Qt::Key_End:
            return point(map_.words.size() - 1);
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Space:
            return choose(cursor_, true);
        default:
            QWidget::keyPressEvent(event);
    }
}

void OtpMapView::focusInEvent(QFocusEvent* event) {
    QWidget::focusInEvent(event);
    point(cursor_);
}

}  // namespace desktop
