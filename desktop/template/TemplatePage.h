#pragma once

#include "desktop/page/Page.h"
#include "desktop/template/TemplateForm.h"
#include "jobs/jobTable.h"

#include <memory>

class FormView;
struct FormField;
class QLabel;
class QStackedLayout;
class QUndoStack;
class QVBoxLayout;
class RunPanel;

/// A template as a form, and the file that the tool makes of it. The document is the template's text with the values
/// that differ from it; the tool runs on the saved file. The other fields of the job that makes the file come after the
/// template's own; they are of the run and not saved. A saved job is opened as its template with these fields.
class TemplatePage : public Page {
    Q_OBJECT

  public:
    explicit TemplatePage(PageContext& context, QWidget* parent = nullptr);
    ~TemplatePage() override;

    [[nodiscard]] QUndoStack* undoStack() override { return undo_; }
    [[nodiscard]] QString documentName() const override;
    [[nodiscard]] QString fileFilter() const override;
    [[nodiscard]] bool isModified() const override;
    [[nodiscard]] bool isBusy() const override;
    [[nodiscard]] JobPlace otherPlaceOf(const QString& path) const override;
    [[nodiscard]] bool openFile(const QString& path) override;
    [[nodiscard]] bool save() override;
    [[nodiscard]] bool saveAs() override;
    void run() override;
    void stop() override;

    /// A field of the document; null if there is none.
    [[nodiscard]] const TemplateField* field(const QString& id) const;
    /// Changes a field of the document and what is shown of it.
    void setText(const QString& id, const QString& text);

  protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    [[nodiscard]] QString textOf(const TemplateField& field) const;
    [[nodiscard]] bool openJob(const QString& path);
    [[nodiscard]] bool openTemplate(const QString& path);
    [[nodiscard]] QList<FormField> templateFields(QString& mnemonics);
    [[nodiscard]] QList<FormField> runFields(QString& mnemonics);
    /// The job that runs the template, with its values as whole paths; null as long as nothing was opened.
    [[nodiscard]] const JobRow* job() const;
    /// The fields of that job but for the template.
    [[nodiscard]] QList<const FieldRow*> runRows() const;
    [[nodiscard]] JobValues jobValues() const;
    [[nodiscard]] bool saveTo(const QString& path);
    [[nodiscard]] bool mayReplace();
    void takeFiles(const QString& path);
    void showForm();
    void showHead();
    void takeEdit(const QString& id);
    void leave(const QString& id);
    void refresh();
    void finish();

    PageContext& context_;
    QUndoStack* undo_;
    QStackedLayout* stack_;
    QLabel* title_;
    QLabel* notes_;
    QLabel* hint_;  ///< what this machine lacks for the template
    QLabel* message_;
    QVBoxLayout* place_;  ///< of the form
    RunPanel* panel_;
    FormView* view_ = nullptr;
    std::unique_ptr<TemplateForm> form_;  ///< null as long as nothing was opened
    TemplateValues values_;
    int visit_ = 0;            ///< of a field by the user: what is typed in one is one change
    bool isFromView_ = false;  ///< the change that is made came from the form
};
