#include "desktop/template/TemplatePage.h"

#include "desktop/form/FormView.h"
#include "desktop/look/ToneLabel.h"
#include "desktop/look/tabOrder.h"
#include "desktop/page/Dialogs.h"
#include "desktop/run/JobPage.h"
#include "desktop/run/RunPanel.h"
#include "desktop/run/RunSplitter.h"
#include "display/MessageCollector.h"
#include "files/outputFile.h"
#include "jobs/commandLine.h"
#include "jobs/jobFile.h"

#include <QDir>
#include <QFileInfo>
#include <QScopedValueRollback>
#include <QStackedLayout>
#include <QUndoStack>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace desktop {

namespace {

constexpr const char* templateField = "template";  ///< the field's id in the jobs that run a template

/// Changes one field. Successive key strokes form one change.
class FieldChange : public QUndoCommand {
  public:
    FieldChange(TemplatePage& page, QString id, QString before, QString after, int visit)
        : page_(page), id_(std::move(id)), before_(std::move(before)), after_(std::move(after)), visit_(visit) {
        const TemplateField* const field = page.field(id_);
        setText(TemplatePage::tr("Change of “%1”").arg(field == nullptr ? id_ : field->label));
    }

    int id() const override { return 1; }
    void undo() override { page_.setText(id_, before_); }
    void redo() override { page_.setText(id_, after_); }

    bool mergeWith(const QUndoCommand* next) override {
        const auto* edit = static_cast<const FieldChange*>(next);  // only FieldChange has this id
        if (edit->id_ != id_ || edit->visit_ != visit_) {
            return false;
        }
        after_ = edit->after_;
        setObsolete(after_ == before_);
        return true;
    }

  private:
    TemplatePage& page_;
    QString id_;
    QString before_;
    QString after_;
    int visit_;
};

/// Makes a label of `name`. Its mnemonic is the first letter that isn't in `used`. Without such a letter, it has none.
QString labelWithMnemonic(const QString& name, QString& used) {
    QString label = name;
    label.replace(u'&', QStringLiteral("&&"));
    for (qsizetype i = 0; i < label.size(); ++i) {
        const QChar letter = label[i].toUpper();
        if (letter.unicode() < 128 && letter.isLetter() && !used.contains(letter)) {
            used.append(letter);
            return label.insert(i, u'&');
        }
    }
    return label;
}

QString groupOf(const TemplateField& field) {
    if (!field.lock.isEmpty()) {
        return TemplatePage::tr("Fixed by the template");
    }
    switch (field.kind) {
        case jobs::FieldKind::inFile:
            return TemplatePage::tr("Files");
        case jobs::FieldKind::outFile:
            return TemplatePage::tr("Output");
        default:
            return TemplatePage::tr("Parameters");
    }
}

/// The folder of the tool's template schemas, next to the tool.
QString schemaFolder(const QString& toolPath) {
    const QFileInfo tool(toolPath);
    const QString real = tool.canonicalFilePath();
    return QFileInfo(real.isEmpty() ? toolPath : real).dir().filePath(QStringLiteral("Template"));
}

}  // namespace

TemplatePage::TemplatePage(PageContext& context, QWidget* parent)
    : Page(context, parent),
      undo_(new QUndoStack(this)),
      stack_(new QStackedLayout(this)),
      title_(new QLabel),
      notes_(new ToneLabel(ThemeColor::quiet)),
      hint_(new ToneLabel(ThemeColor::warning)),
      message_(new ToneLabel(ThemeColor::fault)),
      place_(new QVBoxLayout),
      panel_(new RunPanel(context)) {
    setAcceptDrops(true);

    auto* empty = new ToneLabel(ThemeColor::quiet);
    empty->setText(
        tr("No template is open.\n\nOpen one (Ctrl+O) or drop it here: an XML template of a provisioning file, or of "
           "an image that imgtool signs."));
    empty->setAlignment(Qt::AlignCenter);
    empty->setMargin(Theme::groupGap() * 2);
    stack_->addWidget(empty);

    QFont bold = title_->font();
    bold.setWeight(QFont::DemiBold);
    title_->setFont(bold);
    title_->setTextFormat(Qt::PlainText);
    title_->setWordWrap(true);
    message_->setObjectName(QStringLiteral("message"));
    QSizePolicy keptRoom = message_->sizePolicy();
    keptRoom.setRetainSizeWhenHidden(true);
    message_->setSizePolicy(keptRoom);

    auto* head = new QVBoxLayout;
    head->setContentsMargins(Theme::groupGap(), Theme::labelGap(), Theme::groupGap(), Theme::rowGap());
    head->setSpacing(Theme::rowGap() / 2);
    head->addWidget(title_);
    head->addWidget(notes_);
    head->addWidget(hint_);
    head->addWidget(message_);
    auto* editor = new QWidget;
    auto* layout = new QVBoxLayout(editor);
    layout->setContentsMargins({});
    layout->setSpacing(0);
    layout->addLayout(head);
    place_->setContentsMargins(Theme::groupGap(), Theme::rowGap(), 0, 0);
    layout->addLayout(place_, 1);
    stack_->addWidget(new RunSplitter(editor, panel_));

    connect(undo_, &QUndoStack::indexChanged, this, [this] {
        panel_->forgetEnd();
        refresh();
    });
    connect(panel_, &RunPanel::runRequested, this, &TemplatePage::run);
    connect(panel_, &RunPanel::runningChanged, this, &Page::stateChanged);
    connect(panel_, &RunPanel::finished, this, &TemplatePage::finish);
    connect(panel_, &RunPanel::inspectRequested, this,
            [this](const QString& path) { emit handOver(QStringLiteral("inspect"), path); });
}

TemplatePage::~TemplatePage() {
    // The stack's signals would reach a page that is half destroyed.
    undo_->disconnect(this);
}

QString TemplatePage::documentName() const {
    return form_ == nullptr ? QString() : QFileInfo(form_->path).fileName();
}

QString TemplatePage::fileFilter() const {
    return tr("Templates and saved jobs (*.xml *.json);;All files (*)");
}

bool TemplatePage::isModified() const {
    return form_ != nullptr && std::any_of(form_->fields.begin(), form_->fields.end(),
                                           [this](const TemplateField& field) { return textOf(field) != field.value; });
}

bool TemplatePage::isBusy() const {
    return panel_->isRunning();
}

jobs::JobPlace TemplatePage::otherPlaceOf(const QString& path) const {
    jobs::Job job;
    QString fault;
    const jobs::JobPlace place = jobs::readJobFile(path, job, fault) ? jobs::placeOf(job, path) : jobs::JobPlace();
    return place.page == QLatin1String(jobs::templatePage) ? jobs::JobPlace() : place;
}

bool TemplatePage::openFile(const QString& path) {
    return path.endsWith(QLatin1String(".json"), Qt::CaseInsensitive) ? openJob(path) : openTemplate(path);
}

bool TemplatePage::openJob(const QString& path) {
    jobs::Job saved;
    QString fault;
    if (!jobs::readJobFile(path, saved, fault)) {
        context_.dialogs.showFault(this, fault);
        return false;
    }
    const jobs::JobPlace place = jobs::placeOf(saved, path);
    if (place.page != QLatin1String(jobs::templatePage)) {
        emit handOver(place.page, place.file);
        return true;
    }
    if (!openTemplate(jobs::pathOf(saved.values.value(QLatin1String(templateField))))) {
        return false;
    }
    for (const jobs::FieldRow* const row : runRows()) {
        view_->setValues(QLatin1String(row->id), saved.values.value(QLatin1String(row->id)));
    }
    refresh();
    return true;
}

bool TemplatePage::openTemplate(const QString& path) {
    auto form = std::make_unique<TemplateForm>();
    QString fault;
    if (!readTemplateForm(path, schemaFolder(context_.toolPath), *form, fault)) {
        context_.dialogs.showFault(this, fault);
        return false;
    }
    undo_->clear();  // do it now, while the steps belong to the shown template
    form_ = std::move(form);
    mark_.note(form_->path);
    values_.clear();
    showForm();
    return true;
}

const TemplateField* TemplatePage::field(const QString& id) const {
    return form_ == nullptr ? nullptr : form_->field(id);
}

QString TemplatePage::textOf(const TemplateField& field) const {
    return values_.value(field.id, field.value);
}

QList<FormField> TemplatePage::templateFields(QString& mnemonics) {
    QList<FormField> fields;
    for (const TemplateField& field : std::as_const(form_->fields)) {
        if (field.isHidden) {
            continue;
        }
        const bool isFilePath = field.kind == jobs::FieldKind::inFile || field.kind == jobs::FieldKind::outFile;
        FormField made;
        made.id = field.id;
        made.group = groupOf(field);
        made.label = labelWithMnemonic(field.label, mnemonics);
        made.marksChange = true;
        made.tip =
            field.tip.isEmpty() || field.lock.isEmpty() ? field.tip + field.lock : field.tip + u'\n' + field.lock;
        made.kind = field.kind;
        made.required = field.lock.isEmpty() && isFilePath;
        made.initial = {shownTemplateText(field, field.value)};
        for (const TemplateChoice& choice : field.choices) {
            made.choices.append({choice.value, choice.label});
        }
        // In an image template, the firmware is the parameter without an option of imgtool.
        const bool isFirmware = form_->format == obkey::formatMcuboot && !form_->image.params[field.param].command;
        made.role = field.kind == jobs::FieldKind::outFile ? jobs::PathRole::output
                    : isFirmware                           ? jobs::PathRole::firmware
                                                           : jobs::PathRole::key;
        made.placeholder = field.example;
        made.check = [this, id = field.id](const QStringList& values) {
            const TemplateField* const checked = form_->field(id);
            return checked == nullptr
                       ? jobs::Verdict()
                       : checkTemplateValue(*form_, *checked, storedTemplateText(*form_, *checked, values.value(0)));
        };
        fields.append(made);
    }
    return fields;
}

const jobs::JobRow* TemplatePage::job() const {
    return form_ == nullptr ? nullptr
                            : jobs::findJob(form_->format == obkey::formatObdata ? QStringLiteral("provisioning-file")
                                                                                 : QStringLiteral("imgtool-image"));
}

QList<const jobs::FieldRow*> TemplatePage::runRows() const {
    QList<const jobs::FieldRow*> rows = jobs::fieldsOf(*job());
    rows.removeIf([](const jobs::FieldRow* row) { return qstrcmp(row->id, templateField) == 0; });
    return rows;
}

jobs::JobValues TemplatePage::jobValues() const {
    const QDir folder(form_->folder());
    jobs::JobValues values = {{QLatin1String(templateField), {form_->path}}};
    for (const jobs::FieldRow* const row : runRows()) {
        QStringList value = view_->values(QLatin1String(row->id));
        for (qsizetype i = 0; jobs::isPath(*row) && i < value.size(); i += 2) {
            value[i] = value.at(i).isEmpty() ? QString() : folder.absoluteFilePath(value.at(i));
        }
        values.insert(QLatin1String(row->id), value);
    }
    return values;
}

QList<FormField> TemplatePage::runFields(QString& mnemonics) {
    QList<FormField> fields;
    for (const jobs::FieldRow* const row : runRows()) {
        FormField field = formFieldOf(*row, *job());
        field.label = labelWithMnemonic(field.label.remove(u'&'), mnemonics);
        field.check = [this, row](const QStringList& /*own*/) { return jobs::judgeInJob(*job(), *row, jobValues()); };
        fields.append(field);
    }
    return fields;
}

void TemplatePage::showForm() {
    // the mnemonics of the menus, the window's buttons and the run panel
    QString used = QStringLiteral("FEJVHYLIUT");
    const QList<FormField> fields = templateFields(used) + runFields(used);
    delete view_;
    view_ = new FormView(fields, context_);
    view_->setFolder(form_->folder());
    place_->addWidget(view_);
    setTabOrderOfParts(*view_, *panel_);
    // Setting the values again makes each field show its size at once.
    for (const FormField& field : std::as_const(fields)) {
        view_->setValues(field.id, field.initial);
    }
    connect(view_, &FormView::edited, this, &TemplatePage::takeEdit);
    connect(view_, &FormView::left, this, &TemplatePage::leave);
    showHead();
    stack_->setCurrentIndex(1);
    refresh();
    QWidget* first = fields.isEmpty() ? nullptr : view_->findChild<QWidget*>(fields.first().id);
    if (first != nullptr) {
        first->setFocus(Qt::OtherFocusReason);
    }
}

void TemplatePage::showHead() {
    title_->setText(form_->title().isEmpty() ? documentName() : form_->title());
    QStringList notes;
    if (form_->format == obkey::formatObdata) {
        const obkey::ObkeyInfo& info = form_->obdata.info;
        notes.append(info.obDestAddress == obkey::ABSENT_VALUE
                         ? tr("A file without a header")
                         : tr("For the address %1, encryption flag %2")
                               .arg(info.obDestAddressText.value_or(QString()))
                               .arg(static_cast<std::int32_t>(info.doEncryption)));
        if (form_->obdata.hashMode) {
            notes.append(tr("SHA-256 in front"));
        }
        if (form_->obdata.daMode) {
            notes.append(tr("for debug authentication"));
        }
        notes.append(tr("aligned to %1").arg(qMax(1, int{info.globalAlign})));
    } else {
        notes.append(tr("imgtool %1").arg(form_->image.command.value_or(QString())));
        for (const obkey::LinkedXmlEntry& entry : form_->image.linkedTemplates) {
            notes.append(tr("linked with %1").arg(entry.path));
        }
    }
    const auto hidden = std::count_if(form_->fields.begin(), form_->fields.end(),
                                      [](const TemplateField& field) { return field.isHidden; });
    if (hidden > 0) {
        notes.append(tr("%1 hidden by the template").arg(hidden));
    }
    notes_->setText(notes.join(tr(", ")) + u'.');
    hint_->setText(job()->hint({}));
    hint_->setVisible(!hint_->text().isEmpty());
}

void TemplatePage::takeEdit(const QString& id) {
    const TemplateField* const field = form_->field(id);
    if (field == nullptr) {
        refresh();  // the field belongs to the run
        return;
    }
    const QString before = textOf(*field);
    const QString after = storedTemplateText(*form_, *field, view_->values(id).value(0));
    if (before != after) {
        const QScopedValueRollback<bool> guard(isFromView_, true);
        undo_->push(new FieldChange(*this, id, before, after, visit_));
    }
}

void TemplatePage::leave(const QString& id) {
    ++visit_;
    const TemplateField* const field = form_->field(id);
    if (field == nullptr) {
        return;
    }
    // Show a file below the template's folder by its relative path, as the document stores it.
    const QString text = textOf(*field);
    const QString shown = shownTemplateText(*field, text);
    if (shown != view_->values(id).value(0)) {
        view_->setValues(id, {shown});
    }
}

void TemplatePage::setText(const QString& id, const QString& text) {
    const TemplateField* const field = form_->field(id);
    if (field == nullptr) {
        return;
    }
    values_.insert(id, text);
    if (!isFromView_ && !field->isHidden) {
        view_->setValues(id, {shownTemplateText(*field, text)});
    }
}

void TemplatePage::refresh() {
    if (form_ == nullptr) {
        return;
    }
    for (const TemplateField& field : std::as_const(form_->fields)) {
        if (!field.isHidden && (!field.lock.isEmpty() || !field.switchedBy.isEmpty())) {
            const TemplateField* const by = form_->field(field.switchedBy);
            view_->setEditable(field.id, field.lock.isEmpty() && (by == nullptr || textOf(*by) == by->trueText));
        }
    }
    QStringList points = view_->openPoints();
    const QString layout = points.isEmpty() ? templateLayoutFault(*form_, values_) : QString();
    if (!layout.isEmpty()) {
        points.append(tr("layout of the memory"));
    }
    message_->setText(layout);
    message_->setVisible(!layout.isEmpty());
    panel_->setFolder(form_->folder());
    panel_->setCommand(jobs::argumentsOf(*job(), jobValues()), points);
    // The outputs of the edited template, and the outputs of the other fields according to the files on disk.
    jobs::JobValues others = jobValues();
    others.remove(QLatin1String(templateField));
    panel_->setOutputs(templateOutputs(*form_, values_) + job()->moreOutputs(others));
    emit stateChanged();
}

bool TemplatePage::saveTo(const QString& path) {
    QByteArray text;
    QString fault;
    if (!templateTextWith(*form_, values_, text, fault)) {
        context_.dialogs.showFault(this, fault);
        return false;
    }
    const MessageCollector messages;
    if (replaceFile(path, text) != ReplaceResult::done) {
        context_.dialogs.showFault(this, tr("“%1” can't be written. An existing file is unchanged.").arg(path));
        return false;
    }
    form_->text = text;
    mark_.note(path);
    for (TemplateField& field : form_->fields) {
        field.value = textOf(field);
    }
    values_.clear();
    view_->keepValues();
    ++visit_;
    refresh();
    return true;
}

bool TemplatePage::save() {
    return form_ != nullptr && mayReplace() && saveTo(form_->path);
}

bool TemplatePage::saveAs() {
    if (form_ == nullptr) {
        return false;
    }
    const QString chosen =
        context_.dialogs.saveFile(this, tr("Save Template"), jobs::PathRole::document, fileFilter(), documentName());
    if (chosen.isEmpty()) {
        return false;
    }
    const QString path = QFileInfo(chosen).absoluteFilePath();
    const bool isMoved = QFileInfo(path).path() != QFileInfo(form_->path).path();
    if (isMoved && !form_->image.linkedTemplates.isEmpty() &&
        !context_.dialogs.confirm(this,
                                  tr("The template reads values from other templates, which the tool will search for "
                                     "from its new folder. Save it there?"),
                                  tr("Save"))) {
        return false;
    }
    // The file dialog has already asked whether to replace any other file.
    if (path == form_->path && !mayReplace()) {
        return false;
    }
    const QString before = form_->path;
    const int index = undo_->index();
    moveTo(path);
    if (!saveTo(path)) {
        form_->path = before;
        view_->setFolder(form_->folder());
        undo_->setIndex(index);
        refresh();
        return false;
    }
    showHead();
    return true;
}

void TemplatePage::moveTo(const QString& path) {
    TemplateForm moved = *form_;
    moved.path = path;
    QList<std::pair<const TemplateField*, QString>> edits;
    for (const TemplateField& field : std::as_const(form_->fields)) {
        const QString text = textOf(field);
        const QString file = templateFile(*form_, text);
        const bool isFile = field.kind == jobs::FieldKind::inFile && field.lock.isEmpty() && QFileInfo(file).isFile();
        if (isFile && templateFile(moved, text) != file) {
            edits.append({&field, templatePathTo(moved, file)});
        }
    }
    form_->path = path;
    view_->setFolder(form_->folder());
    if (edits.isEmpty()) {
        return;
    }
    undo_->beginMacro(tr("Save As"));
    for (const auto& [field, text] : edits) {
        undo_->push(new FieldChange(*this, field->id, textOf(*field), text, visit_));
    }
    undo_->endMacro();
}

void TemplatePage::run() {
    if (form_ == nullptr || panel_->isRunning()) {
        return;
    }
    if (!view_->openPoints().isEmpty()) {
        view_->focusFirstOpenPoint();
        return;
    }
    if (!templateLayoutFault(*form_, values_).isEmpty()) {
        refresh();
        return;
    }
    if (isModified() &&
        (!context_.dialogs.confirm(
             this,
             tr("The tool reads “%1” from the disk, where your changes aren't yet. Save them?").arg(documentName()),
             tr("Save and Run")) ||
         !save())) {
        return;
    }
    panel_->start();
}

void TemplatePage::stop() {
    panel_->stop();
}

void TemplatePage::finish() {
    TemplateForm now;
    QString fault;
    // The tool has written the values that it used into the template.
    const bool isRead = readTemplateForm(form_->path, schemaFolder(context_.toolPath), now, fault);
    bool isSame = isRead && now.format == form_->format && now.fields.size() == form_->fields.size();
    for (qsizetype i = 0; isSame && i < now.fields.size(); ++i) {
        isSame = now.fields[i].id == form_->fields[i].id && now.fields[i].value == form_->fields[i].value;
    }
    if (isSame) {
        form_->text = now.text;
        mark_.note(form_->path);
    }
    refresh();
}

}  // namespace desktop
