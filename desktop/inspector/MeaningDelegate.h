#pragma once

#include <QStyledItemDelegate>

class QTreeView;

namespace desktop {

/// Paints the meanings of an InspectModel. The text of a finding starts in the value's column, because a finding has no
/// value.
class MeaningDelegate : public QStyledItemDelegate {
    Q_OBJECT

  public:
    explicit MeaningDelegate(QTreeView* tree);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

  private:
    QTreeView* tree_;
};

}  // namespace desktop
