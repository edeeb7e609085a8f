#include "desktop/optionBytes/OptionByteList.h"

#include "desktop/look/theme.h"
#include "desktop/optionBytes/OptionByteDocument.h"
#include "desktop/optionBytes/optionByteText.h"

#include <QAbstractListModel>
#include <QPainter>
#include <QStyledItemDelegate>

#include <limits>

namespace desktop {

namespace {

class WordModel : public QAbstractListModel {
  public:
    WordModel(const OptionByteDocument& document, QObject* parent) : QAbstractListModel(parent), document_(document) {
        connect(&document, &OptionByteDocument::tableReset, this, [this] {
            beginResetModel();
            endResetModel();
        });
        connect(&document, &OptionByteDocument::wordChanged, this, [this](qsizetype word) {
            const QModelIndex changed = index(static_cast<int>(word));
            emit dataChanged(changed, changed);
        });
    }

    [[nodiscard]] int rowCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : static_cast<int>(document_.wordCount());
    }

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override {
        if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::AccessibleTextRole)) {
            return {};
        }
        const QString label = document_.label(index.row());
        if (role == Qt::DisplayRole) {
            return label;
        }
        QStringList parts = {label, hexText(document_.value(index.row()), document_.bitCount(index.row()))};
        parts += stateOf(index.row());
        return parts.join(QStringLiteral(", "));
    }

    [[nodiscard]] const OptionByteDocument& document() const { return document_; }

    [[nodiscard]] bool isEdited(int row) const { return document_.value(row) != document_.savedValue(row); }

    /// The state of a word in short texts.
    [[nodiscard]] QStringList stateOf(int row) const {
        QStringList states;
        if (isEdited(row)) {
            states += OptionByteList::tr("changed");
        }
        const devices::DeviceRegister* reg = document_.registerOf(row);
        if (reg != nullptr && document_.value(row) != reg->reset) {
            states += OptionByteList::tr("not as reset");
        }
        if (!document_.remark(row).isEmpty()) {
            states += document_.remark(row);
        }
        return states;
    }

  private:
    const OptionByteDocument& document_;
};

/// Paints a word on two lines: name and value, then meaning and state.
class WordDelegate : public QStyledItemDelegate {
  public:
    WordDelegate(const WordModel& model, OptionByteList* list)
        : QStyledItemDelegate(list), model_(model), list_(list) {}

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        painter->save();
        paintGround(*painter, option);
        const int row = index.row();
        const QRect room =
            option.rect.adjusted(Theme::labelGap(), Theme::rowGap(), -Theme::labelGap(), -Theme::rowGap());
        const QRect top(room.left(), room.top(), room.width(), room.height() / 2);
        const QRect bottom(room.left(), top.bottom() + 1, room.width(), room.height() - top.height());
        const OptionByteDocument& document = model_.document();
        const bool isEdited = model_.isEdited(row);
        const QColor text = option.palette.color(QPalette::WindowText);

        QFont fixed = Theme::fixedFont();
        fixed.setBold(isEdited);
        painter->setFont(fixed);
        painter->setPen(isEdited ? Theme::color(ThemeColor::changed) : text);
        const QString value = hexText(document.value(row), document.bitCount(row));
        painter->drawText(top, Qt::AlignRight | Qt::AlignVCenter | Qt::TextSingleLine, value);
        const int valueWidth = QFontMetrics(fixed).horizontalAdvance(value) + Theme::labelGap();

        QFont bold = option.font;
        bold.setWeight(QFont::DemiBold);
        painter->setFont(bold);
        painter->setPen(text);
        const QString label = index.data().toString();
        drawElided(*painter, top.adjusted(0, 0, -valueWidth, 0),
                   label.isEmpty() ? OptionByteList::tr("(no label)") : label);

        painter->setFont(option.font);
        const devices::DeviceRegister* reg = document.registerOf(row);
        const QString remark = document.remark(row);
        const QString state = isEdited                                              ? OptionByteList::tr("changed")
                              : reg != nullptr && document.value(row) != reg->reset ? OptionByteList::tr("not as reset")
                                                                                    : QString();
        painter->setPen(Theme::color(isEdited ? ThemeColor::changed : ThemeColor::quiet));
        painter->drawText(bottom, Qt::AlignRight | Qt::AlignVCenter | Qt::TextSingleLine, state);
        const int stateWidth = state.isEmpty() ? 0 : option.fontMetrics.horizontalAdvance(state) + Theme::labelGap();
        painter->setPen(Theme::color(remark.isEmpty() ? ThemeColor::quiet : ThemeColor::warning));
        drawElided(*painter, bottom.adjusted(0, 0, -stateWidth, 0),
                   !remark.isEmpty() ? remark
                   : reg != nullptr  ? reg->description
                                     : QString());
        painter->restore();
    }

    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& /*index*/) const override {
        return {0, 2 * option.fontMetrics.height() + 2 * Theme::rowGap() + Theme::rowGap() / 3};
    }

  private:
    static void drawElided(QPainter& painter, const QRect& room, const QString& text) {
        painter.drawText(room, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                         painter.fontMetrics().elidedText(text, Qt::ElideRight, room.width()));
    }

    void paintGround(QPainter& painter, const QStyleOptionViewItem& option) const {
        const QColor accent = Theme::color(ThemeColor::accent);
        if (option.state.testFlag(QStyle::State_Selected)) {
            QColor ground = accent;
            ground.setAlphaF(Theme::isDark() ? 0.22F : 0.13F);
            painter.fillRect(option.rect, ground);
            QRect bar = option.rect;
            bar.setWidth(Theme::rowGap() / 2);
            painter.fillRect(bar, accent);
            if (list_->hasFocus()) {
                painter.setPen(accent);
                painter.drawRect(option.rect.adjusted(0, 0, -1, -1));
            }
        } else {
            painter.setPen(Theme::color(ThemeColor::line));
            painter.drawLine(option.rect.bottomLeft(), option.rect.bottomRight());
        }
    }

    const WordModel& model_;
    OptionByteList* list_;
};

}  // namespace

OptionByteList::OptionByteList(OptionByteDocument& document, QWidget* parent) : QListView(parent) {
    auto* words = new WordModel(document, this);
    setModel(words);
    setItemDelegate(new WordDelegate(*words, this));
    setUniformItemSizes(true);
    setEditTriggers(NoEditTriggers);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAccessibleName(tr("Words"));
}

qsizetype OptionByteList::word() const {
    return currentIndex().row();
}

void OptionByteList::choose(qsizetype word) {
    setCurrentIndex(model()->index(static_cast<int>(word), 0));
}

QSize OptionByteList::sizeHint() const {
    const QFontMetrics metrics(font());
    return {metrics.averageCharWidth() * 48, metrics.height() * 24};
}

void OptionByteList::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QListView::currentChanged(current, previous);
    emit chosen(current.row());
}

}  // namespace desktop
