#pragma once

#include <QString>

class QAbstractItemModel;
class QTableView;

/// A list of rows to read and choose from: without a grid, the last column as wide as there is room. Tab leaves it.
[[nodiscard]] QTableView* makeRowList(QAbstractItemModel* model, const char* name, const QString& spoken);
