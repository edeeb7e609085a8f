#pragma once

#include "desktop/inspector/InspectTree.h"

#include <QAbstractItemModel>

#include <array>
#include <memory>

namespace desktop {

/// The item model of a file's InspectTree.
class InspectModel : public QAbstractItemModel {
    Q_OBJECT

  public:
    enum Column { Name, Value, Meaning, Offset, Size, ColumnCount };
    enum Role { WideRole = Qt::UserRole };  ///< whether the meaning may use the value's column as well

    using QAbstractItemModel::QAbstractItemModel;

    /// `bytes` views the file and the second file of a pair. The views must stay valid as long as `tree` exists.
    void setTree(std::shared_ptr<const InspectTree> tree, std::array<QByteArrayView, 2> bytes);
    /// The tree's line for an index; 0 if none.
    [[nodiscard]] int lineOf(const QModelIndex& index) const;
    [[nodiscard]] QModelIndex indexOf(int line, int column = Name) const;

    [[nodiscard]] QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    [[nodiscard]] QModelIndex parent(const QModelIndex& child) const override;
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  private:
    [[nodiscard]] QString textOf(const InspectLine& line, int column) const;

    std::shared_ptr<const InspectTree> tree_;
    std::array<QByteArrayView, 2> bytes_;
};

}  // namespace desktop
