#pragma once

#include "desktop/inspector/InspectWorker.h"
#include "desktop/page/Page.h"

#include <QTimer>

class QPushButton;
class QSplitter;
class QStackedWidget;
class QTabWidget;
class QTableView;
class QTreeView;

namespace desktop {

class BytePanel;
class CheckListModel;
class CommandLineView;
class DifferenceModel;
class FormView;
class InspectModel;
class MapPanel;
class VerdictBar;

/// Shows any file as the opener understands it: a tree with the file's bytes and memory, the checks, and the
/// differences from another file. It also shows the command line of the opener for the same result.
class InspectPage : public Page {
    Q_OBJECT

  public:
    explicit InspectPage(PageContext& context, QWidget* parent = nullptr);
    ~InspectPage() override;

    [[nodiscard]] QString fileFilter() const override;
    [[nodiscard]] bool openFile(const QString& path) override;
    [[nodiscard]] bool openFileAs(const QString& path, const QString& kind) override;
    void run() override;
    void stop() override;
    // `isBusy` isn't overridden, so the window doesn't wait for this page. A newer file replaces an older one, and the
    // user loses nothing by leaving the page.

  protected:
    [[nodiscard]] bool acceptsFiles(const QStringList& paths) const override { return !paths.isEmpty(); }
    void takeFiles(const QStringList& paths) override;

  private:
    QWidget* makeStart();
    QWidget* makeContent();
    QWidget* makeTree();
    QWidget* makeTabs();
    QWidget* makeCommandBar();
    void makeVerdict();

    [[nodiscard]] bool isReadable(const QString& path);
    void compareWith(const QString& path);
    [[nodiscard]] QHash<QString, QStringList> values() const;
    [[nodiscard]] InspectRequest request(bool withForm) const;
    [[nodiscard]] QStringList shownArguments() const;
    void start(bool withForm);
    void refreshCommand();
    void showBusy();
    void show(const std::shared_ptr<InspectResult>& result);
    void showVerdict();
    void showPlain(bool wanted);
    void choose(int line, const QWidget* from);
    void chooseByte(qint64 offset);
    void showBytesOf(int line);
    /// Describes a byte of the file; empty while a plain content is shown, or if no line covers the byte.
    [[nodiscard]] QString byteText(qint64 offset) const;
    [[nodiscard]] int lineOfByte(qint64 offset) const;
    [[nodiscard]] const inspect::Content* contentOf(int line) const;

    InspectWorker* worker_;
    QTimer busyTimer_;  ///< delays the busy message, so that short work shows none
    QString path_;
    QString other_;  ///< the file to compare with; may be empty
    std::shared_ptr<InspectResult> result_;
    std::shared_ptr<inspect::Contents> contents_;  ///< plain contents; kept only while the user wants to see them
    QString missingField_;                         ///< see InspectVerdict
    bool isBusyShown_ = false;
    bool isChoosing_ = false;
    int nextTab_ = -1;  ///< the tab to show with the result; -1 keeps the current one

    QStackedWidget* stack_;
    QSplitter* columns_;
    QSplitter* rows_;
    VerdictBar* verdict_;
    QPushButton* keysButton_;
    QPushButton* stopButton_;
    QPushButton* reportButton_;
    InspectModel* model_;
    QTreeView* tree_;
    MapPanel* map_;
    QTabWidget* tabs_;
    BytePanel* bytes_;
    CheckListModel* checks_;
    FormView* form_;
    DifferenceModel* differences_;
    QWidget* differencePage_;
    CommandLineView* commandLine_;
    QPushButton* runButton_;
};

}  // namespace desktop
