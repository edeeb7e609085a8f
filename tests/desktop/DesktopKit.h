#pragma once

#include "desktop/page/Dialogs.h"
#include "desktop/page/Page.h"
#include "desktop/page/Settings.h"
#include "desktop/window/MainWindow.h"
#include "tests/support/TempFolder.h"

#include <QApplication>

#include <functional>
#include <memory>

/// Answers dialogs, in order, with the answers that a test has prepared. Without a prepared answer it cancels.
class ScriptedDialogs : public desktop::Dialogs {
  public:
    using desktop::Dialogs::Dialogs;

    QString openFile(QWidget* parent, const QString& title, jobs::PathRole role, const QString& filter) override;
    QStringList openFiles(QWidget* parent, const QString& title, jobs::PathRole role, const QString& filter) override;
    QString saveFile(QWidget* parent, const QString& title, jobs::PathRole role, const QString& filter,
                     const QString& proposed) override;
    QString openFolder(QWidget* parent, const QString& title, jobs::PathRole role) override;
    desktop::SaveAnswer askSave(QWidget* parent, const QString& document) override;
    QString askPin(QWidget* parent, const QString& question) override;
    bool confirm(QWidget* parent, const QString& question, const QString& action) override;
    void showFault(QWidget* parent, const QString& text) override;

    QStringList paths;                   ///< for the next file and folder dialogs; a dialog for several files uses all
    QList<desktop::SaveAnswer> answers;  ///< for the next questions whether to save the changes
    QList<bool> confirmations;
    QString pin;         ///< null: the user cancels
    QStringList asked;   ///< the questions, in order
    QStringList faults;  ///< the reported faults, in order
};

/// The real window on the offscreen platform, with its own settings.
class DesktopKit {
  public:
    DesktopKit();

    /// Shows a page and returns it.
    desktop::Page* show(const char* page);
    /// The visible widget `name` of the current page. Ends the test program if it is missing or can't be used.
    QWidget* find(const char* name);
    template <class Widget>
    Widget* find(const char* name) {
        auto* widget = qobject_cast<Widget*>(find(name));
        if (widget == nullptr) {
            qFatal("%s is another kind of widget", name);
        }
        return widget;
    }
    /// Moves the focus to `name`, replaces its text by key strokes, and leaves it with Tab.
    void type(const char* name, const QString& text);
    /// Presses the button `name` with the space bar.
    void press(const char* name);
    /// Drags files to `target`, and drops them if it accepts them.
    static void drop(QWidget& target, const QStringList& paths);
    /// Processes events until `condition` holds. Returns false after `seconds`.
    [[nodiscard]] static bool waitFor(const std::function<bool()>& condition, int seconds = 20);

    TempFolder folder;
    desktop::Settings settings;
    ScriptedDialogs dialogs;
    desktop::PageContext context;
    std::unique_ptr<desktop::MainWindow> window;
};

/// Makes the application of a test program on the offscreen platform. Fonts and locale are the same on every machine.
std::unique_ptr<QApplication> makeTestApplication(int& argc, char** argv);
