#include "desktop/inspector/InspectModel.h"

#include "desktop/look/theme.h"
#include "inspect/words.h"

#include <QTextDocument>

namespace desktop {

void InspectModel::setTree(std::shared_ptr<const InspectTree> tree, std::array<QByteArrayView, 2> bytes) {
    beginResetModel();
    tree_ = std::move(tree);
    bytes_ = bytes;
    endResetModel();
}

int InspectModel::lineOf(const QModelIndex& index) const {
    return index.isValid() ? static_cast<int>(index.internalId()) : 0;
}

QModelIndex InspectModel::indexOf(int line, int column) const {
    return tree_ == nullptr || line <= 0 ? QModelIndex()
                                         : createIndex(tree_->line(line).row, column, static_cast<quintptr>(line));
}

QModelIndex InspectModel::index(int row, int column, const QModelIndex& parent) const {
    if (!hasIndex(row, column, parent)) {
        return {};
    }
    return createIndex(row, column,
                       static_cast<quintptr>(tree_->line(lineOf(parent)).firstChild) + static_cast<quintptr>(row));
}

QModelIndex InspectModel::parent(const QModelIndex& child) const {
    return child.isValid() ? indexOf(tree_->line(lineOf(child)).parent) : QModelIndex();
}

int InspectModel::rowCount(const QModelIndex& parent) const {
    return tree_ == nullptr || parent.column() > 0 ? 0 : tree_->line(lineOf(parent)).childCount;
}

int InspectModel::columnCount(const QModelIndex& /*parent*/) const {
    return ColumnCount;
}

QString InspectModel::textOf(const InspectLine& line, int column) const {
    switch (column) {
        case Name:
            return tree_->name(line);
        case Value:
            return tree_->value(line, bytes_[static_cast<std::size_t>(line.file)]);
        case Meaning:
            return tree_->meaning(line);
        case Offset:
            return line.offset < 0 ? QString()
                                   : QStringLiteral("0x%1").arg(line.offset, 0, 16).toUpper().replace(u'X', u'x');
        default:
            return line.size > 0 && line.kind != InspectLineKind::finding ? QString::number(line.size) : QString();
    }
}

QVariant InspectModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const InspectLine& line = tree_->line(lineOf(index));
    const bool isNumber = index.column() == Offset || index.column() == Size;
    switch (role) {
        case Qt::DisplayRole:
            return textOf(line, index.column());
        case Qt::ToolTipRole:
            // The tooltip repeats texts that don't fit into their column. Text from the file stays plain text.
            return Qt::convertFromPlainText(isNumber && line.offset >= 0
                                                ? tr("Byte %1 of the file, %2")
                                                      .arg(line.offset)
                                                      .arg(inspect::bytesText(static_cast<quint64>(line.size)))
                                                : textOf(line, index.column()));
        case Qt::DecorationRole:
            return index.column() == Name && line.sign != Sign::none ? QVariant(signIcon(line.sign)) : QVariant();
        case Qt::AccessibleDescriptionRole:
            return line.sign == Sign::good      ? tr("good")
                   : line.sign == Sign::bad     ? tr("wrong")
                   : line.sign == Sign::unknown ? tr("not judged")
                                                : QString();
        case Qt::FontRole:
            if (index.column() == Value || isNumber) {
                return Theme::fixedFont();
            }
            if (index.column() == Name && (line.kind == InspectLineKind::part || line.kind == InspectLineKind::file)) {
                QFont font;
                font.setWeight(QFont::DemiBold);
                return font;
            }
            return {};
        case Qt::TextAlignmentRole:
            return isNumber ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
        case Qt::ForegroundRole:
            if (line.kind == InspectLineKind::finding && !isNumber) {
                return Theme::color(line.sign == Sign::bad ? ThemeColor::fault : ThemeColor::quiet);
            }
            return index.column() == Meaning && line.kind == InspectLineKind::range
                       ? QVariant(Theme::color(ThemeColor::quiet))
                       : QVariant();
        case WideRole:
            return index.column() == Meaning && line.kind == InspectLineKind::finding;
        default:
            return {};
    }
}

QVariant InspectModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return role != Qt::TextAlignmentRole ? QAbstractItemModel::headerData(section, orientation, role)
               : section >= Offset           ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                                             : QVariant(Qt::AlignLeft | Qt::AlignVCenter);
    }
    switch (section) {
        case Name:
            return tr("Name");
        case Value:
            return tr("Value");
        case Meaning:
            return tr("Meaning");
        case Offset:
            return tr("Offset");
        default:
            return tr("Size");
    }
}

}  // namespace desktop
