#include "desktop/window/PageList.h"

#include "desktop/look/theme.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QScrollBar>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

#include <algorithm>

namespace desktop {

namespace {

constexpr int idRole = Qt::UserRole;
constexpr int wordsRole = Qt::UserRole + 1;

QString text(const char* source) {
    return QCoreApplication::translate("pageTable", source);
}

/// The words of a search that distinguish pages.
QStringList distinctiveWords(const QString& search) {
    // Words that occur in any sentence about any page.
    const QStringList fillers =
        PageList::tr("a an and by for from how i in into is it of on the through to what with").split(u' ');
    QStringList words = search.toLower().split(u' ', Qt::SkipEmptyParts);
    words.removeIf([&fillers](const QString& word) { return fillers.contains(word); });
    return words;
}

bool contains(const QString& text, const QString& word) {
    return text.contains(word, Qt::CaseInsensitive);
}

/// Paints the titles of groups bold and quiet, and the chosen page bold with a bar at its left.
class ListDelegate : public QStyledItemDelegate {
  public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        const bool isTitle = index.data(idRole).isNull();
        const bool isChosen = option.state.testFlag(QStyle::State_Selected);
        painter->save();
        if (isChosen) {
            QColor ground = Theme::color(ThemeColor::accent);
            ground.setAlphaF(Theme::isDark() ? 0.22F : 0.13F);
            painter->fillRect(option.rect, ground);
            QRect bar = option.rect;
            bar.setWidth(Theme::rowGap() / 2);
            painter->fillRect(bar, Theme::color(ThemeColor::accent));
        } else if (option.state.testFlag(QStyle::State_MouseOver) && !isTitle) {
            painter->fillRect(option.rect, Theme::color(ThemeColor::line));
        }
        painter->setFont(isTitle || isChosen ? boldOf(option.font) : option.font);
        painter->setPen(isTitle ? Theme::color(ThemeColor::quiet) : option.palette.color(QPalette::WindowText));
        const QRect room = option.rect.adjusted(isTitle ? Theme::labelGap() : Theme::groupGap(),
                                                isTitle ? Theme::rowGap() : 0, -Theme::rowGap(), 0);
        painter->drawText(room, Qt::AlignVCenter | Qt::TextSingleLine,
                          painter->fontMetrics().elidedText(index.data().toString(), Qt::ElideRight, room.width()));
        painter->restore();
    }

    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        const bool isTitle = index.data(idRole).isNull();
        const int height = option.fontMetrics.height() + Theme::rowGap() * 3 / 2 + (isTitle ? Theme::rowGap() : 0);
        // Every entry has room for bold text, because it can be chosen.
        const QFontMetrics metrics(boldOf(option.font));
        return {metrics.horizontalAdvance(index.data().toString()) + Theme::groupGap() + Theme::labelGap(), height};
    }

  private:
    [[nodiscard]] static QFont boldOf(QFont font) {
        font.setWeight(QFont::DemiBold);
        return font;
    }
};

}  // namespace

PageList::PageList(const QList<PageRow>& pages, QWidget* parent)
    : QWidget(parent), search_(new QLineEdit), list_(new QListWidget) {
    search_->setPlaceholderText(tr("Find a page"));
    search_->setClearButtonEnabled(true);
    search_->setAccessibleName(tr("Find a page"));
    search_->installEventFilter(this);
    list_->setAccessibleName(tr("Pages"));
    list_->setFrameShape(QFrame::NoFrame);
    list_->setItemDelegate(new ListDelegate(list_));
    list_->viewport()->setAutoFillBackground(false);
    list_->setMouseTracking(true);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);

    const char* group = "";
    for (const PageRow& row : pages) {
        if (qstrcmp(group, row.group) != 0) {
            group = row.group;
            auto* title = new QListWidgetItem(text(group), list_);
            title->setFlags(Qt::NoItemFlags);
        }
        auto* item = new QListWidgetItem(text(row.title), list_);
        item->setData(idRole, QLatin1String(row.id));
        item->setData(wordsRole,
                      QStringList{text(row.title), text(row.group), text(row.words), text(row.summary)}.join(u' '));
        item->setToolTip(text(row.summary));
        item->setData(Qt::AccessibleDescriptionRole, text(row.summary));
    }

    nothing_ = new QListWidgetItem(tr("No page has these words"), list_);
    nothing_->setFlags(Qt::NoItemFlags);
    nothing_->setHidden(true);

    list_->setMinimumWidth(list_->sizeHintForColumn(0) + list_->verticalScrollBar()->sizeHint().width());
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, Theme::labelGap(), 0, 0);
    auto* searchRow = new QHBoxLayout;
    searchRow->setContentsMargins(Theme::labelGap(), 0, Theme::labelGap(), 0);
    searchRow->addWidget(search_);
    layout->addLayout(searchRow);
    layout->addWidget(list_);

    connect(search_, &QLineEdit::textChanged, this, &PageList::narrow);
    connect(list_, &QListWidget::currentItemChanged, this, [this](const QListWidgetItem* item) {
        if (item != nullptr) {
            emit chosen(item->data(idRole).toString());
        }
    });
}

void PageList::choose(const QString& id) {
    const QSignalBlocker blocker(list_);
    for (int row = 0; row < list_->count(); ++row) {
        if (list_->item(row)->data(idRole).toString() == id) {
            list_->setCurrentRow(row);
        }
    }
}

QString PageList::neighbour(const QString& id, int steps) const {
    QStringList shown;
    for (int row = 0; row < list_->count(); ++row) {
        const QString other = list_->item(row)->data(idRole).toString();
        if (!other.isEmpty() && (!list_->item(row)->isHidden() || other == id)) {
            shown.append(other);
        }
    }
    return shown.value(qBound(0, static_cast<int>(shown.indexOf(id)) + steps, static_cast<int>(shown.size()) - 1));
}

void PageList::find() {
    search_->setFocus(Qt::ShortcutFocusReason);
    search_->selectAll();
}

bool PageList::eventFilter(QObject* watched, QEvent* event) {
    if (watched != search_ || event->type() != QEvent::KeyPress) {
        return false;
    }
    const int key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Escape) {
        search_->clear();
        return true;
    }
    if (key != Qt::Key_Return && key != Qt::Key_Enter && key != Qt::Key_Down) {
        return false;
    }
    if (QListWidgetItem* best = bestOf(distinctiveWords(search_->text())); best != nullptr) {
        list_->setCurrentItem(best);
        list_->setFocus(Qt::TabFocusReason);
    }
    return true;
}

QListWidgetItem* PageList::bestOf(const QStringList& words) const {
    QListWidgetItem* best = nullptr;
    qsizetype most = -1;
    for (int row = 0; row < list_->count(); ++row) {
        QListWidgetItem* item = list_->item(row);
        if (item->isHidden() || item->data(idRole).isNull()) {
            continue;
        }
        const qsizetype count = std::count_if(words.begin(), words.end(),
                                              [item](const QString& word) { return contains(item->text(), word); });
        if (count > most) {
            most = count;
            best = item;
        }
    }
    return best;
}

void PageList::narrow(const QString& search) {
    const QStringList words = distinctiveWords(search);
    QListWidgetItem* title = nullptr;
    bool isAnyShown = false;
    for (int row = 0; row < list_->count(); ++row) {
        QListWidgetItem* item = list_->item(row);
        if (item->data(idRole).isNull()) {
            title = item;
            title->setHidden(true);
            continue;
        }
        const QString known = item->data(wordsRole).toString();
        const bool fits =
            std::all_of(words.begin(), words.end(), [&known](const QString& word) { return contains(known, word); });
        item->setHidden(!fits);
        isAnyShown = isAnyShown || fits;
        if (fits && title != nullptr) {
            title->setHidden(false);
        }
    }
    nothing_->setHidden(isAnyShown);
}

}  // namespace desktop
