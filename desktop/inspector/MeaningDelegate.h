#pragma once

#include <QStyledItemDelegate>

class QTreeView;

/// Paints the meaning of a line of an InspectModel. A sentence starts in the value's column, because its line has no
/// value.
class MeaningDelegate : public QStyledItemDelegate {
    Q_OBJECT

  public:
    explicit MeaningDelegate(QTreeView* tree);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

  private:
    QTreeView* tree_;
};
