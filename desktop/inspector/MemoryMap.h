#pragma once

#include <QAbstractItemView>

#include <vector>

namespace desktop {

/// The picture of a MemoryMapModel: blocks in address order with their start and end addresses. A block is more than
/// two lines of text high and grows with the logarithm of its size. Two zigzag lines mark a gap. Only the visible part
/// is painted. Arrow keys, selection and tooltips work as in any view.
class MemoryMap : public QAbstractItemView {
    Q_OBJECT

  public:
    explicit MemoryMap(QWidget* parent = nullptr);

    [[nodiscard]] QRect visualRect(const QModelIndex& index) const override;
    void scrollTo(const QModelIndex& index, ScrollHint hint) override;
    [[nodiscard]] QModelIndex indexAt(const QPoint& point) const override;
    [[nodiscard]] QSize sizeHint() const override;
    void reset() override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;

    /// The background of blocks of one kind of area.
    [[nodiscard]] static QColor kindColor(int kind);

  protected:
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    [[nodiscard]] int horizontalOffset() const override;
    [[nodiscard]] int verticalOffset() const override;
    [[nodiscard]] bool isIndexHidden(const QModelIndex& index) const override;
    void setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags command) override;
    [[nodiscard]] QRegion visualRegionForSelection(const QItemSelection& selection) const override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    void layOut();
    void speak(const QModelIndex& chosen);
    [[nodiscard]] static QString emptyText();
    void setHovered(int row);
    void paintRow(QPainter& painter, const QModelIndex& index, const QRect& rect) const;
    void paintGap(QPainter& painter, const QModelIndex& index, const QRect& block) const;
    void paintBlock(QPainter& painter, const QModelIndex& index, const QRect& block) const;
    void paintWords(QPainter& painter, const QModelIndex& index, const QRect& rect, const QColor& ground) const;
    [[nodiscard]] int gutter() const;

    std::vector<int> tops_;  ///< the top of each row, then the bottom of the last one
    int hovered_ = -1;
};

}  // namespace desktop
