#pragma once

#include "desktop/inspector/InspectWorker.h"
#include "desktop/page/Page.h"

#include <QTimer>

class BytePanel;
class CheckListModel;
class CommandLineView;
class DifferenceModel;
class FormView;
class InspectModel;
class MapPanel;
class QPushButton;
class QSplitter;
class QStackedWidget;
class QTabWidget;
class QTableView;
class QTreeView;
class VerdictBar;

/// Any file, as the opener understands it: a tree beside its bytes and its memory, what was checked, and what differs
/// from another file. It shows what one command line of the opener finds, and shows that line.
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
    // It is never busy for the window: a newer file takes the place of an older one, and nothing is lost at the end.

  protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    QWidget* makeStart();
    QWidget* makeContent();
    QWidget* makeTree();
    QWidget* makeTabs();
    QWidget* makeCommandBar();
    void makeVerdict();

    void openFiles(const QStringList& paths);
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
    /// What a shown byte is; nothing for one of a plain content.
    [[nodiscard]] QString byteText(qint64 offset) const;
    [[nodiscard]] int lineOfByte(qint64 offset) const;
    [[nodiscard]] const inspect::Content* contentOf(int line) const;

    PageContext& context_;
    InspectWorker* worker_;
    QTimer busyTimer_;  ///< short work is not worth a word
    QString path_;
    QString other_;  ///< the file that it is compared with; may be empty
    std::shared_ptr<InspectResult> result_;
    std::shared_ptr<inspect::Contents> contents_;  ///< plain; only as long as they are asked for
    QString missingField_;                         ///< that would bring the verdict further
    bool isBusyShown_ = false;
    bool isChoosing_ = false;
    int nextTab_ = -1;  ///< to be shown with the result; -1 leaves it

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
