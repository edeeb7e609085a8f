#pragma once

#include "desktop/page/Dialogs.h"
#include "desktop/window/MainWindow.h"
#include "desktop/page/Page.h"
#include "desktop/page/Settings.h"
#include "tests/support/TempFolder.h"

#include <QApplication>

#include <functional>
#include <memory>

/// Answers dialogs as a test tells beforehand, in order. A question that nobody foresaw is answered "cancel".
class ScriptedDialogs : public Dialogs {
  public:
    using Dialogs::Dialogs;

    QString openFile(QWidget* parent, const QString& title, PathRole role, const QString& filter) override;
    QStringList openFiles(QWidget* parent, const QString& title, PathRole role, const QString& filter) override;
    QString saveFile(QWidget* parent, const QString& title, PathRole role, const QString& filter,
                     const QString& proposed) override;
    QString openFolder(QWidget* parent, const QString& title, PathRole role) override;
    SaveAnswer askSave(QWidget* parent, const QString& document) override;
    bool confirm(QWidget* parent, const QString& question, const QString& action) override;
    void showFault(QWidget* parent, const QString& text) override;

    QStringList paths;          ///< for the next file and folder dialogs; one for several files takes all
    QList<SaveAnswer> answers;  ///< for the next "save changes?"
    QList<bool> confirmations;
    QStringList asked;   ///< what was asked, in order
    QStringList faults;  ///< what was told
};

/// The real window on the offscreen platform, with settings of its own.
class DesktopKit {
  public:
    DesktopKit();

    /// Shows a page and gives it.
    Page* show(const char* page);
    /// The shown widget `name` of the shown page. A test ends with a message if there is none, or it can't be used.
    QWidget* find(const char* name);
    template <class Widget>
    Widget* find(const char* name) {
        auto* widget = qobject_cast<Widget*>(find(name));
        if (widget == nullptr) {
            qFatal("%s is another kind of widget", name);
        }
        return widget;
    }
    /// Puts the focus into `name`, replaces what stands there by key strokes, and leaves it by Tab.
    void type(const char* name, const QString& text);
    /// Presses the button `name` with the space bar.
    void press(const char* name);
    /// Lets the window work until `condition` holds; false after `seconds`.
    [[nodiscard]] static bool waitFor(const std::function<bool()>& condition, int seconds = 20);

    TempFolder folder;
    Settings settings;
    ScriptedDialogs dialogs;
    PageContext context;
    std::unique_ptr<MainWindow> window;
};

/// Makes the application of a test program on the offscreen platform, with fonts and locale that are the same
/// everywhere.
std::unique_ptr<QApplication> makeTestApplication(int& argc, char** argv);
