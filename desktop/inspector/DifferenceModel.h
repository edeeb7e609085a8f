#pragma once

#include "desktop/inspector/InspectWorker.h"

#include <QAbstractTableModel>

namespace desktop {

/// The differences between two files.
class DifferenceModel : public QAbstractTableModel {
    Q_OBJECT

  public:
    enum Column { What, Meaning, ColumnCount };

    using QAbstractTableModel::QAbstractTableModel;

    void setResult(std::shared_ptr<const InspectResult> result);
    /// The line of the first file's tree that a row refers to; 0 if none.
    [[nodiscard]] int lineOf(int row) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  private:
    std::shared_ptr<const InspectResult> result_;
};

}  // namespace desktop
