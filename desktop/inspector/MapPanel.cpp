#include "desktop/inspector/MapPanel.h"

#include "desktop/form/rowList.h"
#include "desktop/inspector/MemoryMap.h"
#include "desktop/look/theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QStackedWidget>
#include <QTableView>

#include <algorithm>

namespace desktop {

/// The key to the colours of a map, two entries in a row.
class MapKey : public QWidget {
  public:
    explicit MapKey(QWidget* parent = nullptr) : QWidget(parent) {
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    }

    void setKinds(const QStringList& kinds, bool hasCollision) {
        constexpr qsizetype most = 6;
        kinds_ = kinds.first(qMin(most, kinds.size()));
        hasCollision_ = hasCollision;
        setVisible(!kinds_.isEmpty());
        updateGeometry();
        update();
    }

    [[nodiscard]] QSize sizeHint() const override {
        const qsizetype items = kinds_.size() + (hasCollision_ ? 1 : 0);
        return {0, static_cast<int>((items + 1) / 2) * rowHeight()};
    }

  protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        int place = 0;
        for (qsizetype i = 0; i < kinds_.size(); ++i) {
            paintItem(painter, place++, MemoryMap::kindColor(static_cast<int>(i)), Qt::SolidPattern, kinds_.at(i));
        }
        if (hasCollision_) {
            paintItem(painter, place, Theme::color(ThemeColor::fault), Qt::BDiagPattern,
                      MemoryMapModel::tr("collision"));
        }
    }

  private:
    [[nodiscard]] int rowHeight() const { return fontMetrics().height() + 2; }

    void paintItem(QPainter& painter, int place, const QColor& color, Qt::BrushStyle pattern, const QString& text) {
        const QRect cell(place % 2 * width() / 2, place / 2 * rowHeight(), width() / 2, rowHeight());
        const int side = fontMetrics().ascent() - 2;
        const QRect swatch(cell.left(), cell.top() + (cell.height() - side) / 2, side, side);
        painter.setPen(color);
        painter.setBrush(QBrush(color, pattern));
        painter.drawRect(swatch.adjusted(0, 0, -1, -1));
        painter.setPen(Theme::color(ThemeColor::quiet));
        const QRect words = cell.adjusted(side + Theme::rowGap(), 0, -Theme::rowGap(), 0);
        painter.drawText(words, Qt::AlignVCenter | Qt::AlignLeft,
                         fontMetrics().elidedText(text, Qt::ElideRight, words.width()));
    }

    QStringList kinds_;
    bool hasCollision_ = false;
};

MapPanel::MapPanel(QWidget* parent)
    : QWidget(parent),
      model_(new MemoryMapModel(this)),
      selection_(new QItemSelectionModel(model_, this)),
      map_(new MemoryMap),
      table_(makeRowList(model_, "mapTable", tr("Memory map"))),
      stack_(new QStackedWidget),
      key_(new MapKey) {
    auto* title = new QLabel(tr("Memory"));
    QFont bold = title->font();
    bold.setWeight(QFont::DemiBold);
    title->setFont(bold);
    auto* toggle = new QPushButton(tr("As &Table"));
    toggle->setObjectName(QStringLiteral("mapAsTable"));
    toggle->setCheckable(true);
    toggle->setAutoDefault(false);

    map_->setObjectName(QStringLiteral("map"));
    map_->setModel(model_);
    map_->setSelectionModel(selection_);
    table_->setSelectionModel(selection_);
    stack_->addWidget(map_);
    stack_->addWidget(table_);
    key_->setKinds({}, false);

    auto* head = new QHBoxLayout;
    head->addWidget(title, 1);
    head->addWidget(toggle);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addLayout(head);
    layout->addWidget(stack_, 1);
    layout->addWidget(key_);
    connect(toggle, &QPushButton::toggled, stack_, [this](bool asTable) {
        stack_->setCurrentIndex(asTable ? 1 : 0);
        constexpr int tableCharacters = 62;
        emit widthWanted(asTable ? fontMetrics().averageCharWidth() * tableCharacters : map_->sizeHint().width());
    });
    connect(selection_, &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) { noteRow(current.row()); });
}

void MapPanel::setBlocks(const std::shared_ptr<const InspectTree>& tree, const std::vector<MapBlock>& blocks) {
    const QScopedValueRollback<bool> guard(isChoosing_, true);
    model_->setBlocks(tree, blocks);
    const bool hasCollision = std::any_of(blocks.begin(), blocks.end(),
                                          [](const MapBlock& block) { return block.kind == MapBlockKind::collision; });
    key_->setKinds(model_->kinds(), hasCollision);
    const int wide = table_->fontMetrics().averageCharWidth();
    table_->setColumnWidth(MemoryMapModel::What, wide * 21);
    table_->setColumnWidth(MemoryMapModel::Start,
                           QFontMetrics(Theme::fixedFont()).horizontalAdvance(QStringLiteral("0x000000000")));
    table_->setColumnWidth(MemoryMapModel::End, table_->columnWidth(MemoryMapModel::Start));
}

void MapPanel::choose(int line) {
    const QScopedValueRollback<bool> guard(isChoosing_, true);
    const int row = model_->rowOfLine(line);
    if (row < 0) {
        selection_->clear();
    } else {
        const QModelIndex index = model_->index(row, 0);
        selection_->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        map_->scrollTo(index, QAbstractItemView::EnsureVisible);
    }
    map_->viewport()->update();
}

void MapPanel::noteRow(int row) {
    if (isChoosing_ || row < 0) {
        return;
    }
    const MapBlock& block = model_->blocks()[static_cast<std::size_t>(row)];
    if (block.line > 0) {
        emit areaChosen(block.line);
    }
}

}  // namespace desktop
