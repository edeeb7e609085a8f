#include "desktop/form/FormView.h"

#include "desktop/form/FieldEdit.h"
#include "desktop/form/FieldLabel.h"
#include "desktop/form/VerdictLine.h"
#include "desktop/form/fieldVerdict.h"
#include "desktop/form/makeFieldEdit.h"
#include "desktop/look/plainTip.h"
#include "desktop/look/theme.h"

#include <QApplication>
#include <QGridLayout>
#include <QLineEdit>
#include <QMenu>
#include <QScrollArea>
#include <QScrollBar>
#include <QTextDocument>

#include <optional>
#include <vector>

namespace desktop {

namespace {

constexpr int labelColumn = 0;
constexpr int fieldColumn = 1;
constexpr int mostOfReset = 40;     ///< characters of the initial value in the context menu
constexpr int mostCharacters = 78;  ///< width of a field with its button; the whole form has about 90

/// A verdict, with the values and file stamps that it was made from.
struct Judged {
    QStringList values;
    QStringList stamps;
    jobs::Verdict verdict;
};

struct Row {
    FormField field;
    QLabel* title = nullptr;      ///< the title of its group, which may have no text
    FieldLabel* label = nullptr;  ///< null if the editor shows the label
    FieldEdit* edit = nullptr;
    VerdictLine* line = nullptr;
    bool isShown = true;
    bool isEditable = true;
    bool showsVerdict = false;          ///< its verdict is shown
    bool isWanted = false;              ///< a missing value is shown too
    bool isTouched = false;             ///< edited since it was last left
    std::optional<jobs::Verdict> said;  ///< set by `setVerdict`
    std::optional<Judged> judged;       ///< the last verdict, which is used again only for fields of files
};

bool isOpen(const jobs::Verdict& verdict) {
    return verdict.kind == jobs::Verdict::Kind::missing || verdict.kind == jobs::Verdict::Kind::fault;
}

/// The entry of the context menu that sets a field back to its initial value.
QString resetText(const FormField& field) {
    const QString initial = field.initial.value(0);
    if (field.kind == jobs::FieldKind::inFiles) {
        return field.initial.isEmpty() ? FormView::tr("Remove All Files") : FormView::tr("Set the Whole List Back");
    }
    if (field.kind == jobs::FieldKind::choice || field.kind == jobs::FieldKind::check) {
        return FormView::tr("Set Back");
    }
    return initial.isEmpty()
               ? FormView::tr("Empty This Field")
               : FormView::tr("Set Back to “%1”").arg(initial.left(mostOfReset).replace(u'&', QLatin1String("&&")));
}

/// Sets the help of a field at one of its widgets. Texts from templates are shown as plain text, even if they look
/// like HTML.
void setHelp(QWidget& widget, const QString& tip) {
    setPlainTip(widget, tip);
    widget.setWhatsThis(Qt::mightBeRichText(tip) ? plainTip(tip) : tip);
}

}  // namespace

struct FormView::Inside {
    explicit Inside(FormView& form) : form_(form) {}

    void build(const QList<FormField>& fields, PageContext& context);
    void addRow(QGridLayout& grid, Row& row, PageContext& context);
    void connectRow(Row& row);
    void showTitles();

    [[nodiscard]] Row* find(const QString& id);
    [[nodiscard]] jobs::Verdict judge(Row& row);
    void showVerdict(Row& row, const jobs::Verdict& verdict);
    void clear(Row& row);
    void judgeAndShow(Row& row);
    void noteEdit(Row& row);
    void noteLeave(Row& row);
    /// Drops the kept verdicts, since the verdict on a file may depend on another field.
    void forget();
    void mark(Row& row);
    void bringIntoView(const Row& row);
    void showMenu(Row& row, QWidget* part, QPoint at);

    FormView& form_;
    QScrollArea* scroll_ = nullptr;
    QString folder_;
    std::vector<Row> rows_;  ///< never resized after `build`, because other objects point into it
    QHash<QString, Row*> byId_;
};

void FormView::Inside::build(const QList<FormField>& fields, PageContext& context) {
    auto* fieldArea = new QWidget;
    auto* grid = new QGridLayout(fieldArea);
    grid->setContentsMargins(0, 0, 0, 0);
    // The verdict lines serve as the gaps between the fields.
    grid->setVerticalSpacing(0);
    grid->setHorizontalSpacing(Theme::labelGap());
    grid->setColumnStretch(fieldColumn, 1);
    rows_.resize(static_cast<size_t>(fields.size()));
    QLabel* title = nullptr;
    int widest = 0;
    for (size_t at = 0; at < rows_.size(); ++at) {
        Row& row = rows_[at];
        row.field = fields.at(static_cast<qsizetype>(at));
        if (at == 0 || row.field.group != rows_[at - 1].field.group) {
            title = new QLabel(row.field.group);
            title->setTextFormat(Qt::PlainText);
            QFont bold = title->font();
            bold.setWeight(QFont::DemiBold);
            title->setFont(bold);
            grid->addWidget(title, grid->rowCount(), labelColumn, 1, 2);
        }
        row.title = title;
        byId_.insert(row.field.id, &row);
        addRow(*grid, row, context);
        if (row.label != nullptr) {
            widest = qMax(widest, row.label->sizeHint().width());
        }
    }
    // The column has room for every label, so that it doesn't move when fields are shown or hidden.
    grid->setColumnMinimumWidth(labelColumn, widest);
    grid->setRowStretch(grid->rowCount(), 1);
    fieldArea->setMaximumWidth(widest + Theme::labelGap() +
                               fieldArea->fontMetrics().averageCharWidth() * mostCharacters);

    auto* body = new QWidget;
    auto* bodyLayout = new QHBoxLayout(body);
    bodyLayout->setContentsMargins(0, 0, Theme::rowGap(), 0);
    bodyLayout->addWidget(fieldArea, 1);
    bodyLayout->addStretch();
    scroll_ = new QScrollArea(&form_);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setFocusPolicy(Qt::NoFocus);
    scroll_->setWidgetResizable(true);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll_->setWidget(body);
    scroll_->setMinimumWidth(body->minimumSizeHint().width() + scroll_->verticalScrollBar()->sizeHint().width());
    auto* layout = new QVBoxLayout(&form_);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(scroll_);
    showTitles();
}

void FormView::Inside::addRow(QGridLayout& grid, Row& row, PageContext& context) {
    const FormField& field = row.field;
    const int at = grid.rowCount();
    const bool showsItself = field.kind == jobs::FieldKind::check;
    row.edit = makeFieldEdit(field, context, nullptr);
    row.line = new VerdictLine(!showsItself || field.check);
    row.line->setObjectName(field.id + QLatin1String("Verdict"));
    setHelp(*row.edit, field.tip);
    if (!showsItself) {
        row.label = new FieldLabel(field.label);
        row.label->setBuddy(row.edit->first());
        row.label->matchHeight(row.edit->first());
        setHelp(*row.label, field.tip);
        grid.addWidget(row.label, at, labelColumn, Qt::AlignRight | Qt::AlignTop);
    }
    grid.addWidget(row.edit, at, fieldColumn);
    grid.addWidget(row.line, at + 1, fieldColumn);
    row.edit->setValues(field.initial);
    row.field.initial = row.edit->values();
    row.edit->describe(field.tip, false);
    connectRow(row);
}

void FormView::Inside::connectRow(Row& row) {
    Row* kept = &row;
    connect(row.edit, &FieldEdit::edited, &form_, [this, kept] {
        noteEdit(*kept);
        emit form_.edited(kept->field.id);
    });
    connect(row.edit, &FieldEdit::settled, &form_, [this, kept] { noteLeave(*kept); });
    connect(row.edit, &FieldEdit::left, &form_, [this, kept] { noteLeave(*kept); });
    connect(row.edit, &FieldEdit::entered, &form_, [this, kept] {
        bringIntoView(*kept);
        emit form_.entered(kept->field.id);
    });
    connect(row.edit, &FieldEdit::menuAsked, &form_,
            [this, kept](QWidget* part, QPoint at) { showMenu(*kept, part, at); });
}

void FormView::Inside::showTitles() {
    QLabel* title = nullptr;
    const Row* above = nullptr;
    for (size_t at = 0; at < rows_.size();) {
        title = rows_[at].title;
        const Row* last = nullptr;
        for (; at < rows_.size() && rows_[at].title == title; ++at) {
            last = rows_[at].isShown ? &rows_[at] : last;
        }
        // A title without a text is a gap, which the first group doesn't need.
        title->setVisible(last != nullptr && (above != nullptr || !title->text().isEmpty()));
        if (last != nullptr) {
            // An empty verdict line is a part of the gap.
            const int gap = above == nullptr           ? 0
                            : above->line->keepsRoom() ? Theme::labelGap()
                                                       : Theme::groupGap() + Theme::rowGap();
            if (title->text().isEmpty()) {
                title->setFixedHeight(gap);
            } else {
                title->setContentsMargins(0, gap, 0, Theme::rowGap());
            }
            above = last;
        }
    }
}

Row* FormView::Inside::find(const QString& id) {
    Row* row = byId_.value(id);
    Q_ASSERT_X(row != nullptr, "FormView", "no such field");
    return row;
}

jobs::Verdict FormView::Inside::judge(Row& row) {
    if (!row.isShown || !row.isEditable) {
        return {};
    }
    const QStringList values = row.edit->values();
    const QStringList stamps = fileStamps(row.field, values, folder_);
    jobs::Verdict verdict;
    if (row.judged && !stamps.isEmpty() && row.judged->values == values && row.judged->stamps == stamps) {
        verdict = row.judged->verdict;
    } else {
        verdict = fieldVerdict(row.field, values, folder_);
        if (!isOpen(verdict) && row.field.check && (!values.isEmpty() || row.field.judgesEmpty)) {
            const jobs::Verdict special = row.field.check(values);
            if (isOpen(special) || !special.text.isEmpty()) {
                verdict = special;
            }
        }
        if (verdict.kind == jobs::Verdict::Kind::missing && verdict.text.isEmpty()) {
            verdict = missingVerdict(row.field.kind);
        }
        verdict = withAccess(verdict, row.field, values, folder_);
        row.judged = Judged{values, stamps, verdict};
    }
    return row.said && !isOpen(verdict) ? *row.said : verdict;
}

void FormView::Inside::showVerdict(Row& row, const jobs::Verdict& verdict) {
    row.showsVerdict = true;
    const bool isQuiet = verdict.kind == jobs::Verdict::Kind::missing && !row.isWanted;
    const jobs::Verdict shown = isQuiet ? jobs::Verdict() : verdict;
    row.line->setVerdict(shown);
    row.edit->describe(shown.text.isEmpty() ? row.field.tip : shown.text, isOpen(shown));
}

void FormView::Inside::clear(Row& row) {
    showVerdict(row, {});
    row.showsVerdict = false;
}

void FormView::Inside::judgeAndShow(Row& row) {
    showVerdict(row, judge(row));
}

void FormView::Inside::noteEdit(Row& row) {
    const bool wasSaid = row.said.has_value();
    row.said.reset();
    row.isTouched = true;
    mark(row);
    if (row.label != nullptr && row.label->buddy() != row.edit->first()) {
        row.label->setBuddy(row.edit->first());
    }
    // While the user types, the shown verdict stays only as long as it applies to the current value.
    if (row.showsVerdict) {
        const jobs::Verdict verdict = judge(row);
        if (wasSaid || !isOpen(verdict) || verdict.text != row.line->text()) {
            clear(row);
        }
    }
}

void FormView::Inside::noteLeave(Row& row) {
    if (row.isTouched) {
        row.isTouched = false;
        forget();
        for (Row& other : rows_) {
            if (&other != &row && other.showsVerdict) {
                judgeAndShow(other);
            }
        }
    }
    judgeAndShow(row);
    emit form_.left(row.field.id);
}

void FormView::Inside::forget() {
    for (Row& row : rows_) {
        row.judged.reset();
    }
}

void FormView::Inside::mark(Row& row) {
    const QString initial = row.field.initial.value(0);
    const bool isChanged = row.field.marksChange && row.edit->values() != row.field.initial;
    if (row.label != nullptr && row.label->isChanged() != isChanged) {
        const QString before =
            initial.isEmpty() ? tr("Changed. It was empty.") : tr("Changed. It was “%1”.").arg(initial);
        row.label->setChanged(isChanged);
        setPlainTip(*row.label, isChanged ? before + u'\n' + row.field.tip : row.field.tip);
    }
}

void FormView::Inside::bringIntoView(const Row& row) {
    const QWidget* body = scroll_->widget();
    const QRect edit(row.edit->mapTo(body, QPoint()), row.edit->size());
    const QRect line(row.line->mapTo(body, QPoint()), row.line->size());
    const QRect all = edit.united(line);
    scroll_->ensureVisible(edit.left(), all.bottom(), 0, Theme::rowGap());
    scroll_->ensureVisible(edit.left(), all.top(), 0, Theme::groupGap());
}

void FormView::Inside::showMenu(Row& row, QWidget* part, QPoint at) {
    auto* text = qobject_cast<QLineEdit*>(part);
    QMenu* menu = text != nullptr ? text->createStandardContextMenu() : new QMenu(part);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    if (row.isEditable && row.edit->values() != row.field.initial) {
        menu->addSeparator();
        connect(menu->addAction(resetText(row.field)), &QAction::triggered, &form_, [this, &row] {
            row.edit->setValues(row.field.initial);
            noteEdit(row);
            emit form_.edited(row.field.id);
            noteLeave(row);
        });
    }
    if (menu->isEmpty()) {
        delete menu;
        return;
    }
    menu->popup(at);
}

FormView::FormView(const QList<FormField>& fields, PageContext& context, QWidget* parent)
    : QWidget(parent), inside_(std::make_unique<Inside>(*this)) {
    inside_->build(fields, context);
}

FormView::~FormView() {
    // A field that has the focus emits `left` when it is destroyed, but the form is no longer complete then.
    for (const Row& row : inside_->rows_) {
        row.edit->disconnect(this);
    }
}

QStringList FormView::values(const QString& id) const {
    const Row* row = inside_->find(id);
    return row == nullptr ? QStringList() : row->edit->values();
}

QHash<QString, QStringList> FormView::allValues() const {
    QHash<QString, QStringList> all;
    for (const Row& row : inside_->rows_) {
        all.insert(row.field.id, row.edit->values());
    }
    return all;
}

void FormView::setValues(const QString& id, const QStringList& values) {
    Row* row = inside_->find(id);
    if (row == nullptr) {
        return;
    }
    row->edit->setValues(values);
    row->said.reset();
    row->isWanted = false;
    row->isTouched = false;
    inside_->mark(*row);
    inside_->judgeAndShow(*row);
}

void FormView::bringIntoView(const QString& id) {
    const Row* row = inside_->find(id);
    if (row != nullptr && row->isShown) {
        if (!row->edit->isAncestorOf(QApplication::focusWidget())) {
            row->edit->first()->setFocus(Qt::OtherFocusReason);
        }
        inside_->bringIntoView(*row);
    }
}

void FormView::keepValues() {
    for (Row& row : inside_->rows_) {
        row.field.initial = row.edit->values();
        inside_->mark(row);
    }
}

void FormView::setShown(const QString& id, bool shown) {
    Row* row = inside_->find(id);
    if (row == nullptr || row->isShown == shown) {
        return;
    }
    row->isShown = shown;
    row->edit->setVisible(shown);
    row->line->setVisible(shown);
    if (row->label != nullptr) {
        row->label->setVisible(shown);
    }
    inside_->showTitles();
}

void FormView::setEditable(const QString& id, bool editable) {
    Row* row = inside_->find(id);
    if (row != nullptr) {
        row->isEditable = editable;
        row->edit->setEditable(editable);
        if (!editable) {
            inside_->clear(*row);
        }
    }
}

void FormView::setFolder(const QString& folder) {
    inside_->folder_ = folder;
    for (Row& row : inside_->rows_) {
        row.judged.reset();
        if (row.showsVerdict) {
            inside_->judgeAndShow(row);
        }
    }
}

void FormView::setVerdict(const QString& id, const jobs::Verdict& verdict) {
    Row* row = inside_->find(id);
    if (row != nullptr) {
        row->said = verdict;
        // While the user types, a fault that the field's own check finds stays hidden.
        const jobs::Verdict all = inside_->judge(*row);
        if (!row->isTouched || all.text == verdict.text) {
            inside_->showVerdict(*row, all);
        }
    }
}

QStringList FormView::openPoints() {
    QStringList labels;
    for (Row& row : inside_->rows_) {
        if (isOpen(inside_->judge(row))) {
            labels.append(plainLabel(row.field.label));
        }
    }
    return labels;
}

void FormView::focusFirstOpenPoint() {
    inside_->forget();
    const Row* first = nullptr;
    for (Row& row : inside_->rows_) {
        row.isWanted = true;
        const jobs::Verdict verdict = inside_->judge(row);
        inside_->showVerdict(row, verdict);
        if (first == nullptr && isOpen(verdict)) {
            first = &row;
        }
    }
    if (first != nullptr) {
        first->edit->first()->setFocus(Qt::OtherFocusReason);
        inside_->bringIntoView(*first);
    }
}

}  // namespace desktop
