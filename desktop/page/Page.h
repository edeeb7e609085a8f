#pragma once

#include "desktop/page/FileMark.h"

#include <QStringList>
#include <QWidget>

class Dialogs;
class QMimeData;
class QUndoStack;
class Settings;
struct JobPlace;

/// The services that every page can use. They outlive the pages.
struct PageContext {
    Dialogs& dialogs;
    Settings& settings;
    QString toolPath;  ///< path of the command-line tool
};

/// The paths in dragged data; empty unless all of its addresses are local files.
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
    [[nodiscard]] virtual JobPlace otherPlaceOf(const QString& path) const;
    /// Opens the document at `path` in place of the shown one. The caller has asked about unsaved changes before. False
    /// after a fault, which the page has shown; the shown document then stays as it is.
    [[nodiscard]] virtual bool openFile(const QString& path);
    /// The same for a file whose content doesn't show its kind. The caller knows `kind`, a name of the opener.
    [[nodiscard]] virtual bool openFileAs(const QString& path, const QString& kind);
    /// Saves the document to its file; asks for a path if there is none yet. False if nothing was saved.
    [[nodiscard]] virtual bool save();
    [[nodiscard]] virtual bool saveAs();

    /// Does the same as the filled button of the page; nothing for a page without such a button.
    virtual void run();
    /// Stops the run in progress, which may take a moment.
    virtual void stop();

  signals:
    /// The state that the window shows has changed: name, modified or busy.
    void stateChanged();
    /// The user wants the file at `path` on the page `pageId`, or on this one if that is empty; `kind` as in
    /// `openFileAs`, or empty.
    void handOver(const QString& pageId, const QString& path, const QString& kind = QString());

  protected:
    /// Whether saving over the document's file loses nothing, or the user wants that.
    [[nodiscard]] bool mayReplace();
    /// Whether these files may be dropped here, on a page that accepts drops at all.
    [[nodiscard]] virtual bool acceptsFiles(const QStringList& paths) const;
    /// Takes dropped files: by default opens the one as the document.
    virtual void takeFiles(const QStringList& paths);
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

    PageContext& context_;
    FileMark mark_;  ///< of the document's file, for pages that save
};
