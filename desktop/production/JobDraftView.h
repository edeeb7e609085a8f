#pragma once

#include "desktop/page/Page.h"
#include "desktop/production/JobDraft.h"
#include "desktop/run/ProgramRun.h"

class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace desktop {

class ToneLabel;

/// The editor of a production job that is made from saved jobs. The user sets the order and the names of the steps, and
/// the values that differ from device to device.
class JobDraftView : public QWidget {
    Q_OBJECT

  public:
    explicit JobDraftView(PageContext& context, QWidget* parent = nullptr);
    ~JobDraftView() override;

    [[nodiscard]] bool isModified() const { return isModified_; }
    [[nodiscard]] bool isEmpty() const { return draft_.steps.isEmpty(); }
    [[nodiscard]] QString path() const { return path_; }
    void addJobs(const QStringList& paths);
    /// Writes the job to `path`; false after a fault, which is shown.
    [[nodiscard]] bool saveTo(const QString& path);

  signals:
    void stateChanged();
    void saveWanted();

  private:
    QPushButton* addButton(QLayout* bar, const QString& text, const char* name, void (JobDraftView::*action)());
    void chooseJobs();
    void removeStep();
    void moveUp();
    void moveDown();
    void move(int distance);
    void check();
    void showFindings(const ProgramRun::Result& result);
    void rebuild(int chosenStep);
    void edited(QTreeWidgetItem* item, int column);
    void changed();
    void refresh();
    [[nodiscard]] int chosenStep() const;

    PageContext& context_;
    JobDraft draft_;
    QString path_;
    bool isModified_ = false;
    bool isBuilding_ = false;
    QLineEdit* product_;
    QTreeWidget* tree_;
    QPushButton* remove_ = nullptr;
    QPushButton* up_ = nullptr;
    QPushButton* down_ = nullptr;
    QPushButton* save_ = nullptr;
    QPushButton* check_ = nullptr;
    ToneLabel* state_;
    QPlainTextEdit* preview_;
    ProgramRun runner_;
};

}  // namespace desktop
