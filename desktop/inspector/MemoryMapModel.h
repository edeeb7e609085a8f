#pragma once

#include "desktop/inspector/InspectTree.h"

#include <QAbstractTableModel>

#include <memory>
#include <vector>

enum class MapBlockKind { area, gap, collision };

/// A stretch of memory: of one area, of several that collide, or of none.
struct MapBlock {
    MapBlockKind kind = MapBlockKind::area;
    std::uint64_t from = 0;
    std::uint64_t to = 0;  ///< the last address
    int line = 0;          ///< of the tree: the area's
    int other = 0;         ///< the area that the first one collides with
    int areas = 0;         ///< how many share it
};

/// What lies where in memory by a description, from the lowest address on, with the gaps between.
[[nodiscard]] std::vector<MapBlock> mapBlocks(const InspectTree& tree);

/// A size as people say it: "128 MiB" where it is that exactly, else in bytes.
[[nodiscard]] QString sizeText(std::uint64_t size);

/// The blocks as a table. The picture of the memory paints it too.
class MemoryMapModel : public QAbstractTableModel {
    Q_OBJECT

  public:
    enum Column { What, Start, End, Size, ColumnCount };
    enum Role {
        KindRole = Qt::UserRole,  ///< MapBlockKind
        TitleRole,                ///< what the block holds
        DetailRole,               ///< its name
        ColorRole,                ///< a number that areas of one kind share; -1 for no area
        SizeRole,
    };

    using QAbstractTableModel::QAbstractTableModel;

    /// `tree` is kept as long as the blocks are shown.
    void setBlocks(std::shared_ptr<const InspectTree> tree, std::vector<MapBlock> blocks);
    [[nodiscard]] const std::vector<MapBlock>& blocks() const { return blocks_; }
    /// The names of the kinds of areas, by their number.
    [[nodiscard]] const QStringList& kinds() const { return kinds_; }
    /// The row of the first block of a tree's line; -1 if it has none.
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
