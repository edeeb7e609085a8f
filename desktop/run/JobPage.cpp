#include "desktop/run/JobPage.h"

#include "desktop/form/FormView.h"
#include "desktop/look/ToneLabel.h"
#include "desktop/page/Dialogs.h"
#include "desktop/page/PageRow.h"
#include "desktop/run/RunPanel.h"
#include "desktop/run/RunSplitter.h"
#include "jobs/commandLine.h"
#include "jobs/jobFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QUndoStack>
#include <QVBoxLayout>

#include <utility>

namespace desktop {

namespace {

QString text(const char* source) {
    return *source == '\0' ? QString() : QCoreApplication::translate("jobs", source);
}

}  // namespace

FormField formFieldOf(const jobs::FieldRow& row, const jobs::JobRow& job) {
    FormField field;
    field.id = QLatin1String(row.id);
    field.group = text(row.group);
    field.label = text(row.label);
    field.tip = text(row.tip);
    field.kind = row.kind;
    field.keepsOld = row.keepsOld;
    field.required = row.required;
    field.initial = jobs::initialValues(job).value(field.id);
    for (const jobs::ChoiceRow& choice : row.choices) {
        field.choices.append({QLatin1String(choice.value), text(choice.label)});
    }
    field.besideLabel = text(row.besideLabel);
    field.role = row.role;
    field.secret = row.secret;
    field.filter = text(row.filter);
    field.placeholder = QLatin1String(row.placeholder);
    field.judgesEmpty = row.checkEmpty != nullptr;
    return field;
}

/// Changes one field.
class JobPage::Edit : public QUndoCommand {
  public:
    Edit(JobPage& page, QString id, QStringList before, QStringList after)
        : page_(page), id_(std::move(id)), before_(std::move(before)), after_(std::move(after)), visit_(page.visit_) {}

    int id() const override { return 1; }
    void undo() override { page_.takeBack(id_, before_); }
    void redo() override {
        if (page_.form_->values(id_) != after_) {  // a new step is already in the form
            page_.takeBack(id_, after_);
        }
    }

    bool mergeWith(const QUndoCommand* next) override {
        const auto* edit = static_cast<const Edit*>(next);  // only Edit has this id
        if (edit->id_ != id_ || edit->visit_ != visit_) {
            return false;
        }
        after_ = edit->after_;
        setObsolete(after_ == before_);
        return true;
    }

  private:
    JobPage& page_;
    QString id_;
    QStringList before_;
    QStringList after_;
    int visit_;
};

JobPage::JobPage(const jobs::JobRow& job, PageContext& context, QWidget* parent)
    : Page(context, parent),
      job_(job),
      hint_(new ToneLabel(ThemeColor::warning)),
      panel_(new RunPanel(context)),
      undo_(new QUndoStack(this)) {
    QList<FormField> fields;
    for (const jobs::FieldRow* const row : jobs::fieldsOf(job)) {
        FormField field = formFieldOf(*row, job);
        field.check = [this, row](const QStringList& /*own*/) {
            return jobs::judgeInJob(job_, *row, form_->allValues());
        };
        fields.append(field);
    }
    form_ = new FormView(fields, context);

    auto* upper = new QWidget;
    auto* upperLayout = new QVBoxLayout(upper);
    upperLayout->setContentsMargins(Theme::groupGap(), 0, 0, 0);
    upperLayout->setSpacing(Theme::labelGap());
    hint_->setObjectName(QStringLiteral("hint"));
    hint_->setContentsMargins(0, 0, Theme::groupGap(), 0);
    upperLayout->addWidget(hint_);
    upperLayout->addWidget(form_, 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(new RunSplitter(upper, panel_));

    connect(form_, &FormView::edited, this, &JobPage::noteEdit);
    connect(form_, &FormView::entered, this, [this] { ++visit_; });
    connect(form_, &FormView::left, this, &JobPage::refresh);
    connect(panel_, &RunPanel::runRequested, this, &JobPage::run);
    connect(panel_, &RunPanel::runningChanged, this, &JobPage::stateChanged);
    connect(panel_, &RunPanel::inspectRequested, this,
            [this](const QString& path) { emit handOver(QStringLiteral("inspect"), path); });
    panel_->setFolder(QDir::currentPath());
    shown_ = form_->allValues();
    saved_ = shown_;
    refresh();
}

QUndoStack* JobPage::undoStack() {
    return undo_;
}

QString JobPage::documentName() const {
    return path_.isEmpty() ? tr("Untitled") : QFileInfo(path_).fileName();
}

QString JobPage::fileFilter() const {
    return tr("Saved jobs (*.json)");
}

bool JobPage::isModified() const {
    return form_->allValues() != saved_;
}

bool JobPage::isBusy() const {
    return panel_->isRunning();
}

jobs::JobPlace JobPage::otherPlaceOf(const QString& path) const {
    jobs::Job job;
    QString fault;
    return jobs::readJobFile(path, job, fault) && job.row != &job_ ? jobs::placeOf(job, path) : jobs::JobPlace();
}

bool JobPage::openFile(const QString& path) {
    jobs::Job job;
    QString fault;
    if (!jobs::readJobFile(path, job, fault)) {
        context_.dialogs.showFault(this, fault);
        return false;
    }
    if (job.row != &job_) {
        const jobs::JobPlace place = jobs::placeOf(job, path);
        emit handOver(place.page, place.file);
        return true;
    }
    setValues(job.values);
    undo_->clear();
    path_ = path;
    mark_.note(path);
    saved_ = form_->allValues();
    shown_ = saved_;
    refresh();
    return true;
}

bool JobPage::save() {
    return path_.isEmpty() ? saveAs() : mayReplace() && saveTo(path_);
}

bool JobPage::saveAs() {
    const QString proposed = path_.isEmpty() ? QLatin1String(job_.id) + QStringLiteral(".json") : path_;
    const QString path =
        context_.dialogs.saveFile(this, tr("Save Job"), jobs::PathRole::document, fileFilter(), proposed);
    return !path.isEmpty() && saveTo(path);
}

bool JobPage::saveTo(const QString& path) {
    const jobs::JobValues values = form_->allValues();
    QString fault;
    if (!jobs::writeJobFile(path, {&job_, values}, fault)) {
        context_.dialogs.showFault(this, fault);
        return false;
    }
    path_ = path;
    mark_.note(path);
    saved_ = values;
    emit stateChanged();
    return true;
}

void JobPage::run() {
    refresh();
    if (form_->openPoints().isEmpty()) {
        panel_->setOutputs(jobs::outputsOf(job_, form_->allValues()));  // this may read a file
        panel_->start();
    } else {
        form_->focusFirstOpenPoint();
    }
}

void JobPage::stop() {
    panel_->stop();
}

void JobPage::noteEdit(const QString& id) {
    const QStringList before = std::exchange(shown_[id], form_->values(id));
    if (before != shown_.value(id)) {
        undo_->push(new Edit(*this, id, before, shown_.value(id)));
    }
    refresh();
}

void JobPage::takeBack(const QString& id, const QStringList& values) {
    form_->setValues(id, values);
    shown_[id] = form_->values(id);
    refresh();
    form_->bringIntoView(id);
}

void JobPage::setValues(const jobs::JobValues& values) {
    for (const jobs::FieldRow* const row : jobs::fieldsOf(job_)) {
        const QString id = QLatin1String(row->id);
        form_->setValues(id, values.value(id));
    }
}

void JobPage::showFields() {
    const jobs::JobValues values = form_->allValues();
    for (const jobs::FieldRow* const row : jobs::fieldsOf(job_)) {
        if (row->shownIf != nullptr) {
            form_->setShown(QLatin1String(row->id), row->shownIf(values));
        }
    }
}

void JobPage::refresh() {
    showFields();
    const jobs::JobValues values = form_->allValues();
    panel_->setCommand(jobs::argumentsOf(job_, values), form_->openPoints());
    hint_->setText(job_.hint == nullptr ? QString() : job_.hint(values));
    hint_->setVisible(!hint_->text().isEmpty());
    emit stateChanged();
}

Page* makeJobPage(const PageRow& row, PageContext& context, QWidget* parent) {
    return new JobPage(*jobs::findJob(QLatin1String(row.id)), context, parent);
}

}  // namespace desktop
