#pragma once

#include <QString>

class QAbstractItemModel;
class QTableView;

namespace desktop {

/// Makes a list of rows for reading and choosing, without a grid. The last column fills the free width. Tab leaves the
/// list.
[[nodiscard]] QTableView* makeRowList(QAbstractItemModel* model, const char* name, const QString& spoken);

}  // namespace desktop
