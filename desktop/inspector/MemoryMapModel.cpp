#include "desktop/inspector/MemoryMapModel.h"

#include "desktop/look/theme.h"
#include "inspect/words.h"

#include <QTextDocument>

#include <algorithm>
#include <array>
#include <set>

namespace desktop {

namespace {

/// An address where an area begins or ends.
struct Edge {
    std::uint64_t address = 0;
    int line = 0;
    bool isStart = false;
};

std::vector<Edge> edgesOf(const InspectTree& tree) {
    constexpr std::uint64_t last = ~std::uint64_t{0} - 1;
    std::vector<Edge> edges;
    for (std::size_t i = 1; i < tree.lines().size(); ++i) {
        const InspectLine& line = tree.lines()[i];
        if (line.kind != InspectLineKind::part || line.isInContent) {
            continue;
        }
        const inspect::Part& part = line.description->parts[line.item];
        if (!part.hasAddress || part.memorySize == 0 || part.address > last) {
            continue;
        }
        edges.push_back({part.address, static_cast<int>(i), true});
        edges.push_back(
            {part.address + std::min(part.memorySize, last - part.address + 1), static_cast<int>(i), false});
    }
    std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.address < b.address; });
    return edges;
}

}  // namespace

std::vector<MapBlock> mapBlocks(const InspectTree& tree) {
    const std::vector<Edge> edges = edgesOf(tree);
    std::vector<MapBlock> blocks;
    std::set<int> open;
    for (std::size_t i = 0; i < edges.size(); ++i) {
        if (edges[i].isStart) {
            open.insert(edges[i].line);
        } else {
            open.erase(edges[i].line);
        }
        const bool isLast = i + 1 == edges.size();
        if (isLast || edges[i + 1].address == edges[i].address) {
            continue;
        }
        MapBlock block;
        block.from = edges[i].address;
        block.to = edges[i + 1].address - 1;
        block.areas = static_cast<int>(open.size());
        block.kind = open.empty() ? MapBlockKind::gap : open.size() == 1 ? MapBlockKind::area : MapBlockKind::collision;
        block.line = open.empty() ? 0 : *open.begin();
        block.other = open.size() < 2 ? 0 : *std::next(open.begin());
        blocks.push_back(block);
    }
    return blocks;
}

QString sizeText(std::uint64_t size) {
    constexpr std::array units = {"GiB", "MiB", "KiB"};
    std::uint64_t unit = std::uint64_t{1} << 30;
    for (const char* const name : units) {
        if (size >= unit && size % unit == 0) {
            return QStringLiteral("%1 %2").arg(size / unit).arg(QLatin1String(name));
        }
        unit >>= 10;
    }
    return inspect::bytesText(size);
}

void MemoryMapModel::setBlocks(std::shared_ptr<const InspectTree> tree, std::vector<MapBlock> blocks) {
    beginResetModel();
    tree_ = std::move(tree);
    blocks_ = std::move(blocks);
    kinds_.clear();
    for (const MapBlock& block : blocks_) {
        if (block.kind == MapBlockKind::area && !kinds_.contains(kindOf(block.line))) {
            kinds_.append(kindOf(block.line));
        }
    }
    endResetModel();
}

int MemoryMapModel::rowOfLine(int line) const {
    const auto block = std::find_if(blocks_.begin(), blocks_.end(), [line](const MapBlock& candidate) {
        return candidate.line == line || (line > 0 && candidate.other == line);
    });
    return block == blocks_.end() || line <= 0 ? -1 : static_cast<int>(block - blocks_.begin());
}

int MemoryMapModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(blocks_.size());
}

int MemoryMapModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : ColumnCount;
}

bool MemoryMapModel::hasKind(int line) const {
    return !tree_->meaning(tree_->line(line)).isEmpty();
}

/// The kind of an area: the meaning of its line, or the part's name if the line has no meaning.
QString MemoryMapModel::kindOf(int line) const {
    const inspect::Part& part = tree_->line(line).description->parts[tree_->line(line).item];
    return hasKind(line) ? tree_->meaning(tree_->line(line)) : inspect::wordsOf(part.name);
}

QString MemoryMapModel::nameOf(const MapBlock& block) const {
    QString first = tree_->name(tree_->line(block.line));
    if (block.kind != MapBlockKind::collision) {
        return first;
    }
    const QString second = tree_->name(tree_->line(block.other));
    return block.areas > 2 ? tr("%1, %2 and %3 more").arg(first, second, QString::number(block.areas - 2))
                           : tr("%1 and %2").arg(first, second);
}

QString MemoryMapModel::titleOf(const MapBlock& block) const {
    switch (block.kind) {
        case MapBlockKind::area:
            return hasKind(block.line) ? kindOf(block.line) : nameOf(block);
        case MapBlockKind::gap:
            return tr("gap");
        case MapBlockKind::collision:
            break;
    }
    return tr("collision");
}

QVariant MemoryMapModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const MapBlock& block = blocks_[static_cast<std::size_t>(index.row())];
    const std::uint64_t size = block.to - block.from + 1;
    const bool isGap = block.kind == MapBlockKind::gap;
    // Only the roles that show this text make it, because the layout of MemoryMap asks for data of every block.
    const auto what = [&] {
        return isGap || titleOf(block) == nameOf(block) ? titleOf(block)
                                                        : tr("%1: %2").arg(nameOf(block), titleOf(block));
    };
    switch (role) {
        case Qt::DisplayRole:
            return index.column() == Start  ? inspect::addressText(block.from)
                   : index.column() == End  ? inspect::addressText(block.to)
                   : index.column() == Size ? sizeText(size)
                                            : what();
        case Qt::ToolTipRole:
            return Qt::convertFromPlainText(
                tr("%1\n%2 to %3, %4")
                    .arg(what(), inspect::addressText(block.from), inspect::addressText(block.to), sizeText(size)));
        case Qt::FontRole:
            return index.column() == Start || index.column() == End ? QVariant(Theme::fixedFont()) : QVariant();
        case Qt::TextAlignmentRole:
            return index.column() == Size ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
        case Qt::ForegroundRole:
            return block.kind == MapBlockKind::collision ? QVariant(Theme::color(ThemeColor::fault)) : QVariant();
        case KindRole:
            return static_cast<int>(block.kind);
        case TitleRole:
            return titleOf(block);
        case DetailRole:
            return isGap || titleOf(block) == nameOf(block) ? QString() : nameOf(block);
        case ColorRole:
            return block.kind == MapBlockKind::area ? static_cast<int>(kinds_.indexOf(kindOf(block.line))) : -1;
        case SizeRole:
            return QVariant::fromValue<quint64>(size);
        default:
            return {};
    }
}

QVariant MemoryMapModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return QAbstractTableModel::headerData(section, orientation, role);
    }
    switch (section) {
        case Start:
            return tr("Start");
        case End:
            return tr("End");
        case Size:
            return tr("Size");
        default:
            return tr("What");
    }
}

}  // namespace desktop
