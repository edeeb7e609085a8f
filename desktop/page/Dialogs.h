#pragma once

#include "jobs/PathRole.h"

#include <QStringList>

class QWidget;
class Settings;

enum class SaveAnswer { save, discard, cancel };

/// The one way to every dialog that stops the user, so that a test can answer in its place.
class Dialogs {
  public:
    explicit Dialogs(Settings& settings);
    virtual ~Dialogs();
    Dialogs(const Dialogs&) = delete;
    Dialogs& operator=(const Dialogs&) = delete;

    /// The chosen path; empty if the user gave up. `filter` is as QFileDialog has it, or empty.
    [[nodiscard]] virtual QString openFile(QWidget* parent, const QString& title, PathRole role, const QString& filter);
    /// The chosen paths; none if the user gave up.
    [[nodiscard]] virtual QStringList openFiles(QWidget* parent, const QString& title, PathRole role,
                                                const QString& filter);
    [[nodiscard]] virtual QString saveFile(QWidget* parent, const QString& title, PathRole role, const QString& filter,
                                           const QString& proposed);
    [[nodiscard]] virtual QString openFolder(QWidget* parent, const QString& title, PathRole role);

    /// Asks what becomes of the changes to `document`.
    [[nodiscard]] virtual SaveAnswer askSave(QWidget* parent, const QString& document);
    /// Asks a question that `action` or "Cancel" answers.
    [[nodiscard]] virtual bool confirm(QWidget* parent, const QString& question, const QString& action);
    /// Tells of a fault that has no place of its own in the window.
    virtual void showFault(QWidget* parent, const QString& text);

  private:
    Settings& settings_;
};
