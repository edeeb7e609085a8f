#include "desktop/form/rowList.h"

#include "desktop/look/theme.h"

#include <QHeaderView>
#include <QTableView>

namespace desktop {

QTableView* makeRowList(QAbstractItemModel* model, const char* name, const QString& spoken) {
    auto* list = new QTableView;
    list->setObjectName(QLatin1String(name));
    list->setAccessibleName(spoken);
    list->setModel(model);
    list->setSelectionBehavior(QAbstractItemView::SelectRows);
    list->setSelectionMode(QAbstractItemView::SingleSelection);
    list->setShowGrid(false);
    list->setTabKeyNavigation(false);
    list->setWordWrap(false);
    list->verticalHeader()->hide();
    list->verticalHeader()->setDefaultSectionSize(list->fontMetrics().height() + Theme::rowGap());
    list->horizontalHeader()->setHighlightSections(false);
    list->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    list->horizontalHeader()->setStretchLastSection(true);
    return list;
}

}  // namespace desktop
