#pragma once

#include "desktop/page/Page.h"
#include "desktop/run/ProgramRun.h"

#include <QTimer>

class QLineEdit;
class QPushButton;
class QTabWidget;

namespace desktop {

class JobDraftView;
class LedgerView;
class ToneLabel;

/// A production line: the state of its ledger, which qvora-produce reads, and a production job that is written from
/// saved jobs. The page changes no ledger.
class ProductionPage : public Page {
    Q_OBJECT

  public:
    explicit ProductionPage(PageContext& context, QWidget* parent = nullptr);

    [[nodiscard]] QString documentName() const override;
    [[nodiscard]] QString fileFilter() const override;
    [[nodiscard]] bool isModified() const override;
    [[nodiscard]] bool openFile(const QString& path) override;
    [[nodiscard]] bool save() override;
    [[nodiscard]] bool saveAs() override;
    void run() override;

  protected:
    [[nodiscard]] bool acceptsFiles(const QStringList& paths) const override;
    void takeFiles(const QStringList& paths) override;

  private:
    void readLedger();
    void showStatus(const ProgramRun::Result& result);
    void showFault(const QString& text);

    QWidget* line_ = nullptr;
    QLineEdit* ledger_;
    QPushButton* refresh_;
    ToneLabel* state_;
    LedgerView* view_;
    JobDraftView* draft_;
    QTabWidget* tabs_;
    ProgramRun runner_;
    QTimer timer_;
};

}  // namespace desktop
