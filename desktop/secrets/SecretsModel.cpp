#include "desktop/secrets/SecretsModel.h"

#include "desktop/look/theme.h"

#include <QCoreApplication>
#include <QTextDocument>

#include <iterator>

namespace desktop {

namespace {

struct Column {
    const char* title;
    QString SecretRow::*text;
    bool isFixed;  ///< shown in the fixed font
};

constexpr Column columns[] = {
    {QT_TRANSLATE_NOOP("SecretsPage", "Item"), &SecretRow::name, false},
    {QT_TRANSLATE_NOOP("SecretsPage", "Words"), &SecretRow::place, true},
    {QT_TRANSLATE_NOOP("SecretsPage", "Data"), &SecretRow::kind, false},
    {QT_TRANSLATE_NOOP("SecretsPage", "Content"), &SecretRow::source, false},
    {QT_TRANSLATE_NOOP("SecretsPage", "Protection"), &SecretRow::protection, true},
};

}  // namespace

void SecretsModel::setRows(const QList<SecretRow>& rows) {
    if (rows.size() != rows_.size()) {
        beginResetModel();
        rows_ = rows;
        endResetModel();
    } else if (!rows.isEmpty()) {
        rows_ = rows;
        emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
    }
}

int SecretsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int SecretsModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(std::size(columns));
}

QVariant SecretsModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rows_.size() || index.column() >= columnCount()) {
        return {};
    }
    const SecretRow& row = rows_.at(index.row());
    const Column& column = columns[index.column()];
    switch (role) {
        case Qt::DisplayRole:
            return row.*column.text;
        case Qt::ToolTipRole:
            return Qt::convertFromPlainText(row.fault.isEmpty() ? row.*column.text : row.fault);
        case Qt::AccessibleDescriptionRole:
            return row.fault;
        case Qt::FontRole:
            return column.isFixed ? QVariant(Theme::fixedFont()) : QVariant();
        case Qt::ForegroundRole:
            return row.fault.isEmpty() ? QVariant() : QVariant(Theme::color(ThemeColor::fault));
        default:
            return {};
    }
}

QVariant SecretsModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation == Qt::Horizontal && section >= 0 && section < columnCount()) {
        if (role == Qt::DisplayRole) {
            return QCoreApplication::translate("SecretsPage", columns[section].title);
        }
        if (role == Qt::TextAlignmentRole) {
            return QVariant(Qt::AlignLeft | Qt::AlignVCenter);
        }
    }
    return {};
}

}  // namespace desktop
