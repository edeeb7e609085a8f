#pragma once

#include "jobs/PathRole.h"

#include <QStringList>

class QWidget;

namespace desktop {

class Settings;

enum class SaveAnswer { save, discard, cancel };

/// Opens every dialog that waits for the user, so that a test can answer instead.
class Dialogs {
  public:
    explicit Dialogs(Settings& settings);
    virtual ~Dialogs();
    Dialogs(const Dialogs&) = delete;
    Dialogs& operator=(const Dialogs&) = delete;

    /// The chosen path; empty if the user cancelled. `filter` has the form that QFileDialog uses, or is empty.
    [[nodiscard]] virtual QString openFile(QWidget* parent, const QString& title, jobs::PathRole role,
                                           const QString& filter);
    /// The chosen paths; none if the user cancelled.
    [[nodiscard]] virtual QStringList openFiles(QWidget* parent, const QString& title, jobs::PathRole role,
                                                const QString& filter);
    [[nodiscard]] virtual QString saveFile(QWidget* parent, const QString& title, jobs::PathRole role,
                                           const QString& filter, const QString& proposed);
    [[nodiscard]] virtual QString openFolder(QWidget* parent, const QString& title, jobs::PathRole role);

    /// Asks whether to save the changes to `document`.
    [[nodiscard]] virtual SaveAnswer askSave(QWidget* parent, const QString& document);
    /// Asks for a PIN, which isn't shown. Null if the user cancelled.
    [[nodiscard]] virtual QString askPin(QWidget* parent, const QString& question);
    /// Asks a question with the buttons `action` and "Cancel". True for `action`.
    [[nodiscard]] virtual bool confirm(QWidget* parent, const QString& question, const QString& action);
    /// Shows a fault that has no place of its own in the window.
    virtual void showFault(QWidget* parent, const QString& text);

  private:
    Settings& settings_;
};

}  // namespace desktop
