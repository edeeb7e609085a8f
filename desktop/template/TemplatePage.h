#pragma once

#include "desktop/page/Page.h"
#include "desktop/template/TemplateForm.h"
#include "jobs/jobTable.h"

#include <memory>

class QLabel;
class QStackedLayout;
class QUndoStack;
class QVBoxLayout;

namespace desktop {

class FormView;
struct FormField;
class RunPanel;

/// A template as a form, and the file that the tool makes from it. The document is the template's text with the changed
/// values; the tool runs on the saved file. After the template's fields come the other fields of the job, which belong
/// to the run and aren't saved. A saved job opens as its template with the values of these fields.
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
    [[nodiscard]] jobs::JobPlace otherPlaceOf(const QString& path) const override;
    [[nodiscard]] bool openFile(const QString& path) override;
    [[nodiscard]] bool save() override;
    [[nodiscard]] bool saveAs() override;
    void run() override;
    void stop() override;

    /// The document's field with this id; null if there is none.
    [[nodiscard]] const TemplateField* field(const QString& id) const;
    /// Changes a field in the document and on the form.
    void setText(const QString& id, const QString& text);

  private:
    [[nodiscard]] QString textOf(const TemplateField& field) const;
    [[nodiscard]] bool openJob(const QString& path);
    [[nodiscard]] bool openTemplate(const QString& path);
    [[nodiscard]] QList<FormField> templateFields(QString& mnemonics);
    [[nodiscard]] QList<FormField> runFields(QString& mnemonics);
    /// The job that runs the template; null until a template is open.
    [[nodiscard]] const jobs::JobRow* job() const;
    /// The fields of that job except the template.
    [[nodiscard]] QList<const jobs::FieldRow*> runRows() const;
    [[nodiscard]] jobs::JobValues jobValues() const;
    [[nodiscard]] bool saveTo(const QString& path);
    void moveTo(const QString& path);
    void showForm();
    void showHead();
    void takeEdit(const QString& id);
    void leave(const QString& id);
    void refresh();
    void finish();

    QUndoStack* undo_;
    QStackedLayout* stack_;
    QLabel* title_;
    QLabel* notes_;
    QLabel* hint_;  ///< what this machine lacks for the template
    QLabel* message_;
    QVBoxLayout* place_;  ///< the layout that contains the form
    RunPanel* panel_;
    FormView* view_ = nullptr;
    std::unique_ptr<TemplateForm> form_;  ///< null until a template is open
    TemplateValues values_;
    int visit_ = 0;            ///< counts the user's visits to fields: the edits of one visit form one undo step
    bool isFromView_ = false;  ///< the form made the current change
};

}  // namespace desktop
