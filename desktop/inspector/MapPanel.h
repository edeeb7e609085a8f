#pragma once

#include "desktop/inspector/MemoryMapModel.h"

#include <QWidget>

class QItemSelectionModel;
class QStackedWidget;
class QTableView;

namespace desktop {

class MapKey;
class MemoryMap;

/// The memory of a file as a picture with a colour key, or as a table of the same rows.
class MapPanel : public QWidget {
    Q_OBJECT

  public:
    explicit MapPanel(QWidget* parent = nullptr);

    void setBlocks(const std::shared_ptr<const InspectTree>& tree, const std::vector<MapBlock>& blocks);
    /// Selects the block of a tree line, or none.
    void choose(int line);

  signals:
    /// The user selected an area.
    void areaChosen(int line);
    /// The panel asks for this width.
    void widthWanted(int width);

  private:
    void noteRow(int row);

    MemoryMapModel* model_;
    QItemSelectionModel* selection_;
    MemoryMap* map_;
    QTableView* table_;
    QStackedWidget* stack_;
    MapKey* key_;
    bool isChoosing_ = false;
};

}  // namespace desktop
