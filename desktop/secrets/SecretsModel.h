#pragma once

#include <QAbstractTableModel>
#include <QList>

namespace desktop {

/// The table's texts for an item.
struct SecretRow {
    QString name;
    QString place;  ///< its OTP words
    QString kind;
    QString source;
    QString protection;
    QString fault;  ///< empty if there is none
};

/// The items of a secrets document as a table.
class SecretsModel : public QAbstractTableModel {
  public:
    using QAbstractTableModel::QAbstractTableModel;

    void setRows(const QList<SecretRow>& rows);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  private:
    QList<SecretRow> rows_;
};

}  // namespace desktop
