#pragma once

#include "desktop/inspector/InspectTree.h"

#include <QAbstractTableModel>

#include <memory>
#include <vector>

namespace desktop {

enum class MapBlockKind { area, gap, collision };

/// A stretch of memory: an area, a collision of several areas, or a gap between areas.
struct MapBlock {
    MapBlockKind kind = MapBlockKind::area;
    std::uint64_t from = 0;
    std::uint64_t to = 0;  ///< the last address
    int line = 0;          ///< the area's line in the tree
    int other = 0;         ///< the line of the second area of a collision
    int areas = 0;         ///< the number of areas that share the stretch
};

/// The memory that a description covers, in rising order of addresses, with the gaps in between.
[[nodiscard]] std::vector<MapBlock> mapBlocks(const InspectTree& tree);

/// A readable size: "128 MiB" if it is exactly that, otherwise in bytes.
[[nodiscard]] QString sizeText(std::uint64_t size);

/// The blocks as a table. MemoryMap paints the same model.
class MemoryMapModel : public QAbstractTableModel {
    Q_OBJECT

  public:
    enum Column { What, Start, End, Size, ColumnCount };
    enum Role {
        KindRole = Qt::UserRole,  ///< MapBlockKind
        TitleRole,                ///< the kind of the block, or its name if it has no kind
        DetailRole,               ///< the name of the block; empty if the title contains it
        ColorRole,                ///< a number that areas of one kind share; -1 for a block without an area
        SizeRole,
    };

    using QAbstractTableModel::QAbstractTableModel;

    /// Keeps `tree` alive while the blocks are shown.
    void setBlocks(std::shared_ptr<const InspectTree> tree, std::vector<MapBlock> blocks);
    [[nodiscard]] const std::vector<MapBlock>& blocks() const { return blocks_; }
    /// The names of the kinds of areas, indexed by their number.
    [[nodiscard]] const QStringList& kinds() const { return kinds_; }
    /// The row of the first block of a tree line; -1 if none.
    [[nodiscard]] int rowOfLine(int line) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  private:
    [[nodiscard]] QString titleOf(const MapBlock& block) const;
    [[nodiscard]] QString nameOf(const MapBlock& block) const;
    [[nodiscard]] bool hasKind(int line) const;
    [[nodiscard]] QString kindOf(int line) const;

    std::shared_ptr<const InspectTree> tree_;
    std::vector<MapBlock> blocks_;
    QStringList kinds_;
};

}  // namespace desktop
