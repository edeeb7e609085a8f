#pragma once

#include "desktop/inspector/InspectWorker.h"

#include <QAbstractTableModel>

namespace desktop {

/// All findings and checks of a file with their results.
class CheckListModel : public QAbstractTableModel {
    Q_OBJECT

  public:
    enum Column { What, Outcome, Where, ColumnCount };

    using QAbstractTableModel::QAbstractTableModel;

    void setResult(std::shared_ptr<const InspectResult> result);
    /// The line of the tree that a row refers to; 0 if none.
    [[nodiscard]] int lineOf(int row) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  private:
    struct Row {
        const inspect::Description* description = nullptr;
        bool isFinding = false;
        std::size_t item = 0;
    };

    void addRows(const inspect::Description& description);
    [[nodiscard]] static int partOf(const Row& row);
    [[nodiscard]] static Sign signOf(const Row& row);
    [[nodiscard]] QString textOf(const Row& row, int column) const;

    std::shared_ptr<const InspectResult> result_;
    std::vector<Row> rows_;
};

}  // namespace desktop
