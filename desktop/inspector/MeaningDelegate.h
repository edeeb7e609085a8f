#pragma once

#include <QStyledItemDelegate>

class QTreeView;

/// Paints the meaning of a line of an InspectModel. A sentence begins where the value would stand, which it has none
/// of.
class MeaningDelegate : public QStyledItemDelegate {
    Q_OBJECT

  public:
    explicit MeaningDelegate(QTreeView* tree);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

  private:
    QTreeView* tree_;
};
