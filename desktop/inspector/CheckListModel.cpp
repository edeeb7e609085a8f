#include "desktop/inspector/CheckListModel.h"

#include "desktop/look/theme.h"
#include "inspect/formats.h"
#include "inspect/words.h"

#include <QTextDocument>

namespace desktop {

void CheckListModel::setResult(std::shared_ptr<const InspectResult> result) {
    beginResetModel();
    rows_.clear();
    result_ = std::move(result);
    if (result_ != nullptr && result_->file != nullptr) {
        addRows(*result_->file);
    }
    endResetModel();
}

void CheckListModel::addRows(const inspect::Description& description) {
    for (std::size_t i = 0; i < description.findings.size(); ++i) {
        rows_.push_back({&description, true, i});
    }
    for (std::size_t i = 0; i < description.checks.size(); ++i) {
        rows_.push_back({&description, false, i});
    }
    for (const inspect::Description& inner : description.inner) {
        addRows(inner);
    }
}

int CheckListModel::partOf(const Row& row) {
    return row.isFinding ? row.description->findings[row.item].part : row.description->checks[row.item].part;
}

Sign CheckListModel::signOf(const Row& row) {
    if (row.isFinding) {
        const inspect::FindingRow& found = inspect::rowOf(row.description->findings[row.item].code);
        return found.severity == inspect::Severity::error ? Sign::bad : Sign::note;
    }
    const inspect::Check& check = row.description->checks[row.item];
    return check.result == inspect::CheckResult::good  ? Sign::good
           : check.result == inspect::CheckResult::bad ? Sign::bad
           : check.needed                              ? Sign::unknown
                                                       : Sign::note;
}

int CheckListModel::lineOf(int row) const {
    if (row < 0 || row >= rowCount()) {
        return 0;
    }
    const Row& found = rows_[static_cast<std::size_t>(row)];
    const InspectTree& tree = result_->tree;
    if (found.isFinding) {
        return tree.lineOf(InspectLineKind::finding, found.description, found.item);
    }
    const int part = partOf(found);
    return inspect::partOf(*found.description, part) == nullptr
               ? tree.lineOf(InspectLineKind::file, found.description, 0)
               : tree.lineOf(InspectLineKind::part, found.description, static_cast<std::size_t>(part - 1));
}

int CheckListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int CheckListModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : ColumnCount;
}

QString CheckListModel::textOf(const Row& row, int column) const {
    if (column == Where) {
        const inspect::Part* const part = inspect::partOf(*row.description, partOf(row));
        if (part == nullptr) {
            return row.description->format == nullptr ? tr("the file")
                                                      : QString::fromLatin1(row.description->format->title);
        }
        return part->letterName == nullptr ? inspect::partName(*part)
                                           : inspect::partName(*part) + u' ' + inspect::wordsOf(part->letterName);
    }
    if (row.isFinding) {
        return column == What ? (signOf(row) == Sign::bad ? tr("error") : tr("note"))
                              : inspect::findingText(row.description->findings[row.item]);
    }
    const inspect::Check& check = row.description->checks[row.item];
    return column == What ? inspect::checkName(check) : inspect::outcomeText(check);
}

QVariant CheckListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const Row& row = rows_[static_cast<std::size_t>(index.row())];
    switch (role) {
        case Qt::DisplayRole:
            return textOf(row, index.column());
        case Qt::ToolTipRole:
            return Qt::convertFromPlainText(textOf(row, index.column()));
        case Qt::DecorationRole:
            return index.column() == What ? QVariant(signIcon(signOf(row))) : QVariant();
        case Qt::ForegroundRole:
            return index.column() == Outcome ? QVariant(signColor(signOf(row))) : QVariant();
        default:
            return {};
    }
}

QVariant CheckListModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return QAbstractTableModel::headerData(section, orientation, role);
    }
    return section == What ? tr("Check") : section == Outcome ? tr("Result") : tr("Where");
}

}  // namespace desktop
