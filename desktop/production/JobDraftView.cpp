#include "desktop/production/JobDraftView.h"

#include "desktop/look/ToneLabel.h"
#include "desktop/page/Dialogs.h"
#include "files/outputFile.h"
#include "jobs/counted.h"

#include <QFileInfo>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace desktop {

namespace {

constexpr int nameColumn = 0;
constexpr int savedColumn = 1;
constexpr int textColumn = 2;

QString findingText(const QJsonObject& finding) {
    QString place = QFileInfo(finding.value(QLatin1String("file")).toString()).fileName();
    for (const char* const name : {"line", "column"}) {
        const qint64 number = finding.value(QLatin1String(name)).toInteger();
        place += number > 0 ? QStringLiteral(":%1").arg(number) : QString();
    }
    const bool isFault = finding.value(QLatin1String("severity")) == QLatin1String("fault");
    return QStringLiteral("%1: %2%3")
        .arg(place, isFault ? QString() : JobDraftView::tr("warning: "),
             finding.value(QLatin1String("text")).toString());
}

}  // namespace

JobDraftView::JobDraftView(PageContext& context, QWidget* parent)
    : QWidget(parent),
      context_(context),
      product_(new QLineEdit),
      tree_(new QTreeWidget),
      state_(new ToneLabel(ThemeColor::quiet)),
      preview_(new QPlainTextEdit) {
    product_->setObjectName(QStringLiteral("product"));
    product_->setMaxLength(64);
    product_->setPlaceholderText(QStringLiteral("meter-a"));
    auto* label = new QLabel(tr("&Product"));
    label->setBuddy(product_);
    auto* head = new QHBoxLayout;
    head->setSpacing(Theme::labelGap());
    head->addWidget(label);
    head->addWidget(product_, 1);
    addButton(head, tr("&Add saved jobs…"), "addJobs", &JobDraftView::chooseJobs);
    remove_ = addButton(head, tr("&Remove"), "removeStep", &JobDraftView::removeStep);
    up_ = addButton(head, tr("&Up"), "stepUp", &JobDraftView::moveUp);
    down_ = addButton(head, tr("&Down"), "stepDown", &JobDraftView::moveDown);

    tree_->setObjectName(QStringLiteral("steps"));
    tree_->setAccessibleName(tr("Steps and their values"));
    tree_->setHeaderLabels({tr("Step"), tr("Saved value"), tr("Value for each device")});
    tree_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    tree_->setUniformRowHeights(true);
    tree_->setAllColumnsShowFocus(true);

    preview_->setObjectName(QStringLiteral("jobText"));
    preview_->setAccessibleName(tr("The production job"));
    preview_->setReadOnly(true);
    preview_->setFont(Theme::fixedFont());
    preview_->setLineWrapMode(QPlainTextEdit::NoWrap);

    auto* hint = new ToneLabel(ThemeColor::quiet);
    hint->setWordWrap(true);
    hint->setText(
        tr("Press Enter on a value to change it. {serial} and {column:NAME} take values from the table, {nonce} "
           "is handed out by the ledger, {out} is the device's folder, {key:NAME} is a key that is read once."));
    auto* panes = new QSplitter(Qt::Vertical);
    panes->addWidget(tree_);
    panes->addWidget(preview_);
    panes->setStretchFactor(0, 3);
    panes->setStretchFactor(1, 2);
    panes->setChildrenCollapsible(false);

    state_->setObjectName(QStringLiteral("draftState"));
    state_->setWordWrap(true);
    state_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    auto* foot = new QHBoxLayout;
    foot->setSpacing(Theme::labelGap());
    save_ = new QPushButton(tr("&Save job…"));
    save_->setObjectName(QStringLiteral("saveJob"));
    Theme::setFilled(*save_);
    connect(save_, &QPushButton::clicked, this, &JobDraftView::saveWanted);
    foot->addWidget(save_);
    check_ = addButton(foot, tr("&Check with a table…"), "checkJob", &JobDraftView::check);
    foot->addWidget(state_, 1);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->setSpacing(Theme::rowGap());
    layout->addLayout(head);
    layout->addWidget(hint);
    layout->addWidget(panes, 1);
    layout->addLayout(foot);

    connect(product_, &QLineEdit::textEdited, this, [this](const QString& text) {
        draft_.product = text;
        changed();
    });
    connect(tree_, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item) {
        tree_->editItem(item, item->parent() == nullptr ? nameColumn : textColumn);
    });
    connect(tree_, &QTreeWidget::itemChanged, this, &JobDraftView::edited);
    connect(tree_, &QTreeWidget::currentItemChanged, this, &JobDraftView::refresh);
    connect(&runner_, &ProgramRun::ended, this, &JobDraftView::showFindings);
    refresh();
}

// An editor that is still open commits its text when the tree is destroyed. This view must not receive that signal.
JobDraftView::~JobDraftView() {
    tree_->disconnect(this);
}

QPushButton* JobDraftView::addButton(QLayout* bar, const QString& text, const char* name,
                                     void (JobDraftView::*action)()) {
    auto* button = new QPushButton(text);
    button->setObjectName(QLatin1String(name));
    connect(button, &QPushButton::clicked, this, action);
    bar->addWidget(button);
    return button;
}

void JobDraftView::chooseJobs() {
    addJobs(context_.dialogs.openFiles(this, tr("Saved jobs"), jobs::PathRole::document, tr("Saved jobs (*.json)")));
}

void JobDraftView::addJobs(const QStringList& paths) {
    for (const QString& path : paths) {
        DraftStep step;
        QString fault;
        if (!makeDraftStep(path, step, fault)) {
            context_.dialogs.showFault(this, fault);
            continue;
        }
        step.name = freeStepName(draft_, step.name);
        draft_.steps.append(step);
        changed();
    }
    rebuild(static_cast<int>(draft_.steps.size()) - 1);
}

int JobDraftView::chosenStep() const {
    const QTreeWidgetItem* item = tree_->currentItem();
    if (item != nullptr && item->parent() != nullptr) {
        item = item->parent();
    }
    return item == nullptr ? -1 : tree_->indexOfTopLevelItem(const_cast<QTreeWidgetItem*>(item));
}

void JobDraftView::removeStep() {
    const int step = chosenStep();
    if (step >= 0) {
        draft_.steps.removeAt(step);
        changed();
        rebuild(std::min<int>(step, static_cast<int>(draft_.steps.size()) - 1));
    }
}

void JobDraftView::moveUp() {
    move(-1);
}

void JobDraftView::moveDown() {
    move(1);
}

void JobDraftView::move(int distance) {
    const int step = chosenStep();
    const int to = step + distance;
    if (step >= 0 && to >= 0 && to < draft_.steps.size()) {
        draft_.steps.swapItemsAt(step, to);
        changed();
        rebuild(to);
    }
}

void JobDraftView::rebuild(int chosenStep) {
    isBuilding_ = true;
    tree_->clear();
    for (const DraftStep& step : std::as_const(draft_.steps)) {
        auto* item = new QTreeWidgetItem(tree_, {step.name, QFileInfo(step.file).fileName()});
        item->setFlags(item->flags() | Qt::ItemIsEditable);
        item->setToolTip(savedColumn, Qt::convertFromPlainText(step.file));
        for (const DraftField& field : step.fields) {
            auto* part = new QTreeWidgetItem(item, {field.label, field.saved, field.text});
            part->setFlags(part->flags() | Qt::ItemIsEditable);
            part->setToolTip(savedColumn, Qt::convertFromPlainText(field.saved));
        }
        item->setExpanded(true);
    }
    for (const int column : {nameColumn, savedColumn}) {
        tree_->resizeColumnToContents(column);
        tree_->setColumnWidth(column, std::min(tree_->columnWidth(column), 30 * fontMetrics().averageCharWidth()));
    }
    tree_->setCurrentItem(tree_->topLevelItem(chosenStep));
    isBuilding_ = false;
    refresh();
}

/// Stores the user's entry: the name of a step or a value. If another step has the name, a number is added to it.
void JobDraftView::edited(QTreeWidgetItem* item, int column) {
    if (isBuilding_) {
        return;
    }
    const QTreeWidgetItem* const top = item->parent();
    if (top == nullptr && column == nameColumn) {
        DraftStep& step = draft_.steps[tree_->indexOfTopLevelItem(item)];
        const QString name = item->text(nameColumn).trimmed();
        step.name.clear();
        step.name = freeStepName(draft_, name.isEmpty() ? QLatin1String(step.job.row->id) : name);
        isBuilding_ = true;
        item->setText(nameColumn, step.name);
        isBuilding_ = false;
    } else if (top != nullptr && column == textColumn) {
        DraftStep& step = draft_.steps[tree_->indexOfTopLevelItem(item->parent())];
        step.fields[item->parent()->indexOfChild(item)].text = item->text(textColumn);
    }
    changed();
    refresh();
}

void JobDraftView::changed() {
    isModified_ = true;
    state_->clear();
    refresh();
    emit stateChanged();
}

void JobDraftView::refresh() {
    const int step = chosenStep();
    remove_->setEnabled(step >= 0);
    up_->setEnabled(step > 0);
    down_->setEnabled(step >= 0 && step + 1 < draft_.steps.size());
    save_->setEnabled(!isEmpty());
    check_->setEnabled(!isEmpty() && !runner_.isRunning());
    const QString folder =
        path_.isEmpty() && !isEmpty() ? QFileInfo(draft_.steps.constFirst().file).path() : QFileInfo(path_).path();
    preview_->setPlainText(
        isEmpty() ? tr("Add the saved jobs that each device needs, in their order.")
                  : QString::fromUtf8(QJsonDocument(draftDocument(draft_, folder)).toJson(QJsonDocument::Indented)));
}

bool JobDraftView::saveTo(const QString& path) {
    const QString folder = QFileInfo(path).absolutePath();
    const QByteArray text = QJsonDocument(draftDocument(draft_, folder)).toJson(QJsonDocument::Indented);
    if (replaceFile(path, text) != ReplaceResult::done) {
        context_.dialogs.showFault(this, tr("“%1” can't be written.").arg(path));
        return false;
    }
    path_ = QFileInfo(path).absoluteFilePath();
    isModified_ = false;
    refresh();
    state_->setTone(ThemeColor::success);
    state_->setText(tr("Saved as %1").arg(QFileInfo(path_).fileName()));
    emit stateChanged();
    return true;
}

void JobDraftView::check() {
    const QString program = programPath(context_.toolPath, QStringLiteral("qvora-produce"));
    if (program.isEmpty()) {
        state_->setTone(ThemeColor::fault);
        state_->setText(tr("qvora-produce isn't installed; its package is qvora-sealed-bundle-builder-production."));
        return;
    }
    if (isModified_ || path_.isEmpty()) {
        emit saveWanted();
    }
    if (isModified_ || path_.isEmpty()) {
        return;
    }
    const QString table = context_.dialogs.openFile(this, tr("Table of devices"), jobs::PathRole::document,
                                                    tr("Tables of devices (*.csv *.jsonl)"));
    if (table.isEmpty()) {
        return;
    }
    state_->setTone(ThemeColor::quiet);
    state_->setText(tr("Checking…"));
    runner_.start(program, {QStringLiteral("check"), path_, QStringLiteral("--devices"), table, QStringLiteral("-o"),
                            QFileInfo(path_).path(), QStringLiteral("--json")});
    refresh();
}

void JobDraftView::showFindings(const ProgramRun::Result& result) {
    const QJsonObject document = QJsonDocument::fromJson(result.output).object();
    QStringList texts;
    for (const auto& finding : document.value(QLatin1String("findings")).toArray()) {
        texts.append(findingText(finding.toObject()));
    }
    const qint64 faults = document.value(QLatin1String("faults")).toInteger();
    const bool isGood = result.status == 0;
    if (isGood) {
        texts.prepend(jobs::counted(document.value(QLatin1String("devices")).toInteger(), tr("Ready for 1 device"),
                                    tr("Ready for %1 devices")));
    } else if (document.isEmpty()) {
        texts = {result.faults};
    } else if (faults > 0) {
        texts.prepend(jobs::counted(faults, tr("1 fault"), tr("%1 faults")));
    }
    state_->setTone(isGood ? ThemeColor::success : ThemeColor::fault);
    state_->setText(texts.join(QLatin1Char('\n')));
    refresh();
}

}  // namespace desktop
