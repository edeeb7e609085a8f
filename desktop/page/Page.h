#pragma once

#include "desktop/page/FileMark.h"

#include <QStringList>
#include <QWidget>

class QMimeData;
class QUndoStack;
namespace jobs {
struct JobPlace;
}  // namespace jobs

namespace desktop {

class Dialogs;
class Settings;

/// The services that every page can use. They outlive the pages.
struct PageContext {
    Dialogs& dialogs;
    Settings& settings;
    QString toolPath;  ///< path of the command-line tool
};

/// The paths in dragged data; empty if one of its URLs isn't a local file.
[[nodiscard]] QStringList localPathsOf(const QMimeData& data);

/// One page of the window: a job's form, an editor, the inspector. The window asks it about its document and shows the
/// answers; everything else is private to the page.
class Page : public QWidget {
    Q_OBJECT

  public:
    explicit Page(PageContext& context, QWidget* parent = nullptr);

    /// The undo stack of the page's document; null for a page that edits nothing.
    [[nodiscard]] virtual QUndoStack* undoStack();

    /// The name of the document for the user: its file name, or "Untitled". Empty for a page without a document.
    [[nodiscard]] virtual QString documentName() const;
    /// The filter in the form that QFileDialog uses; empty for a page that opens no files.
    [[nodiscard]] virtual QString fileFilter() const;
    /// Whether the document has changes that aren't saved.
    [[nodiscard]] virtual bool isModified() const;
    /// Whether the document may be closed. Asks about its changes, and saves them if the user wants.
    [[nodiscard]] bool mayLose();
    /// Whether a run is in progress.
    [[nodiscard]] virtual bool isBusy() const;

    /// The place that shows the file at `path`, if it is on another page; empty otherwise.
    [[nodiscard]] virtual jobs::JobPlace otherPlaceOf(const QString& path) const;
    /// Opens the document at `path` in place of the shown one. The caller asks about unsaved changes first. After a
    /// fault, the page shows the fault, keeps its document and returns false.
    [[nodiscard]] virtual bool openFile(const QString& path);
    /// The same for a file whose content doesn't show its kind. `kind` is a name that the opener knows.
    [[nodiscard]] virtual bool openFileAs(const QString& path, const QString& kind);
    /// Saves the document to its file; asks for a path if there is none yet. False if nothing was saved.
    [[nodiscard]] virtual bool save();
    [[nodiscard]] virtual bool saveAs();

    /// Acts like the page's filled button. A page without one does nothing.
    virtual void run();
    /// Stops the run in progress, which may take a moment.
    virtual void stop();

  signals:
    /// The state that the window shows has changed: name, modified or busy.
    void stateChanged();
    /// The user wants to open the file at `path` on the page `pageId`; an empty `pageId` means this page. `kind` is
    /// empty or as in `openFileAs`.
    void handOver(const QString& pageId, const QString& path, const QString& kind = QString());

  protected:
    /// Whether the document's file may be overwritten. Asks the user if another program has changed it.
    [[nodiscard]] bool mayReplace();
    /// Whether these files may be dropped here, on a page that accepts drops at all.
    [[nodiscard]] virtual bool acceptsFiles(const QStringList& paths) const;
    /// Handles dropped files. By default the page accepts one file and opens it as the document.
    virtual void takeFiles(const QStringList& paths);
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

    PageContext& context_;
    FileMark mark_;  ///< marks the document's file, for pages that save
};

}  // namespace desktop
