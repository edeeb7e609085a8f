#pragma once

#include <QString>
#include <QWidget>

class Dialogs;
class QUndoStack;
class Settings;
struct JobPlace;

/// What every page may use. It outlives the pages.
struct PageContext {
    Dialogs& dialogs;
    Settings& settings;
    QString toolPath;  ///< of the command-line tool
};

/// One page of the window: a job's form, an editor, the inspector. The window asks it about its document and shows what
/// it says; the page keeps everything else to itself.
class Page : public QWidget {
    Q_OBJECT

  public:
    explicit Page(QWidget* parent = nullptr);

    /// The stack of its document's changes; null for a page that edits nothing.
    [[nodiscard]] virtual QUndoStack* undoStack();

    /// What the user calls the document: its file name, or "Untitled". Empty for a page without one.
    [[nodiscard]] virtual QString documentName() const;
    /// As QFileDialog has it; empty for a page that opens no files.
    [[nodiscard]] virtual QString fileFilter() const;
    /// Whether something would be lost if the page went away.
    [[nodiscard]] virtual bool isModified() const;
    /// Whether the document may go: asks about its changes, and saves them if the user wants.
    [[nodiscard]] bool mayLose(Dialogs& dialogs);
    /// Whether something runs.
    [[nodiscard]] virtual bool isBusy() const;

    /// Where the file at `path` is shown, if that is another page than this one; nowhere otherwise.
    [[nodiscard]] virtual JobPlace otherPlaceOf(const QString& path) const;
    /// Opens the document at `path` in place of the one that is shown; what may get lost was asked about before. False
    /// after a fault, which the page has told, and which leaves the shown document as it was.
    [[nodiscard]] virtual bool openFile(const QString& path);
    /// The same for a file whose kind is known to whoever hands it over, as the opener names it, but doesn't show.
    [[nodiscard]] virtual bool openFileAs(const QString& path, const QString& kind);
    /// Saves where the document was opened or last saved; asks for the place if there is none. False if nothing was
    /// saved.
    [[nodiscard]] virtual bool save();
    [[nodiscard]] virtual bool saveAs();

    /// Does what the page is for, as its filled button does. Nothing for a page without one.
    virtual void run();
    /// Ends what runs; it may take a moment.
    virtual void stop();

  signals:
    /// What the window shows of the page has changed: name, modified, busy.
    void stateChanged();
    /// The user wants the file at `path` on the page `pageId`; `kind` as in `openFileAs`, or empty.
    void handOver(const QString& pageId, const QString& path, const QString& kind = QString());
};
