#include "desktop/inspector/DifferenceModel.h"

#include "desktop/look/theme.h"
#include "inspect/words.h"

#include <QTextDocument>

#include <algorithm>

namespace desktop {

void DifferenceModel::setResult(std::shared_ptr<const InspectResult> result) {
    beginResetModel();
    result_ = std::move(result);
    endResetModel();
}

int DifferenceModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() || result_ == nullptr ? 0 : static_cast<int>(result_->comparison.differences.size());
}

int DifferenceModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : ColumnCount;
}

// Finds the part by its name and address. The part's number can't be used, because it may refer to the second file.
int DifferenceModel::lineOf(int row) const {
    if (row < 0 || row >= rowCount()) {
        return 0;
    }
    const inspect::Difference& difference = result_->comparison.differences[static_cast<std::size_t>(row)];
    QByteArray name;
    const std::uint64_t* address = nullptr;
    for (const inspect::Field& argument : difference.arguments) {
        if (QByteArrayView(argument.name) == "name") {
            name = argument.bytes;
        } else if (argument.kind == inspect::FieldKind::address && address == nullptr) {
            address = &argument.number;
        }
    }
    int found = 0;
    const std::vector<InspectLine>& lines = result_->tree.lines();
    for (std::size_t i = 1; i < lines.size() && found == 0; ++i) {
        const InspectLine& line = lines[i];
        if (line.kind != InspectLineKind::part || line.isInContent) {
            continue;
        }
        const inspect::Part& part = line.description->parts[line.item];
        const QByteArray own = part.letter == 0 ? QByteArray(part.name) : QByteArray(part.name) + ' ' + part.letter;
        const auto length = std::max<std::uint64_t>(part.memorySize, static_cast<std::uint64_t>(part.payloadSize));
        const bool isThere = address == nullptr || (*address >= part.address && *address - part.address < length) ||
                             *address == part.address;
        found = isThere && name.startsWith(own) ? static_cast<int>(i) : 0;
    }
    return found;
}

QVariant DifferenceModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const inspect::Difference& difference = result_->comparison.differences[static_cast<std::size_t>(index.row())];
    const bool isNotCompared = difference.code == inspect::DifferenceCode::notCompared;
    const bool counts = inspect::rowOf(difference.code).counts;
    const QString text = index.column() == What ? inspect::differenceText(difference)
                         : isNotCompared        ? tr("undecided: the key is needed")
                         : counts               ? tr("different")
                                                : tr("follows from a fresh nonce");
    switch (role) {
        case Qt::DisplayRole:
            return text;
        case Qt::ToolTipRole:
            return Qt::convertFromPlainText(text);
        case Qt::DecorationRole:
            return index.column() == What ? QVariant(signIcon(isNotCompared ? Sign::unknown
                                                              : counts      ? Sign::bad
                                                                            : Sign::note))
                                          : QVariant();
        case Qt::ForegroundRole:
            return index.column() == Meaning ? QVariant(Theme::color(isNotCompared ? ThemeColor::warning
                                                                     : counts      ? ThemeColor::fault
                                                                                   : ThemeColor::quiet))
                                             : QVariant();
        default:
            return {};
    }
}

QVariant DifferenceModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return QAbstractTableModel::headerData(section, orientation, role);
    }
    return section == What ? tr("Difference") : tr("Status");
}

}  // namespace desktop
