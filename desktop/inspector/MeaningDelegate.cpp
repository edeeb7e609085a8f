#include "desktop/inspector/MeaningDelegate.h"

#include "desktop/inspector/InspectModel.h"

#include <QTreeView>

namespace desktop {

MeaningDelegate::MeaningDelegate(QTreeView* tree) : QStyledItemDelegate(tree), tree_(tree) {
}

void MeaningDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    QStyleOptionViewItem wide = option;
    if (index.data(InspectModel::WideRole).toBool()) {
        wide.rect.setLeft(tree_->columnViewportPosition(InspectModel::Value));
    }
    QStyledItemDelegate::paint(painter, wide, index);
}

}  // namespace desktop
