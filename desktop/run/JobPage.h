#pragma once

#include "desktop/page/Page.h"
#include "jobs/jobTable.h"

class QLabel;

namespace desktop {

class FormView;
class RunPanel;
struct FormField;
struct PageRow;

/// The page of one job: its form above, its run below. The command line follows every edit, and each edit can be
/// undone.
class JobPage : public Page {
    Q_OBJECT

  public:
    JobPage(const jobs::JobRow& job, PageContext& context, QWidget* parent = nullptr);

    [[nodiscard]] QUndoStack* undoStack() override;
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

  private:
    class Edit;

    void noteEdit(const QString& id);
    void takeBack(const QString& id, const QStringList& values);
    [[nodiscard]] bool saveTo(const QString& path);
    void setValues(const jobs::JobValues& values);
    void showFields();
    void refresh();

    const jobs::JobRow& job_;
    FormView* form_;
    QLabel* hint_;
    RunPanel* panel_;
    QUndoStack* undo_;
    int visit_ = 0;          ///< counts focus changes: key strokes between two of them form one step
    jobs::JobValues shown_;  ///< the form's values after the last step
    QString path_;           ///< the job file; empty before the first save
    jobs::JobValues saved_;  ///< the values in the file, or those of a new form
};

/// The form's field for a field of a job, without its check.
[[nodiscard]] FormField formFieldOf(const jobs::FieldRow& row, const jobs::JobRow& job);

/// Makes the page of the job with the row's id; used in the table of pages.
[[nodiscard]] Page* makeJobPage(const PageRow& row, PageContext& context, QWidget* parent);

}  // namespace desktop
