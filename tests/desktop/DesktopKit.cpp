#include "tests/desktop/DesktopKit.h"

#include "desktop/look/applyTheme.h"
#include "desktop/pageTable.h"
#include "desktop/window/InputFilter.h"

#include <QDeadlineTimer>
#include <QDragEnterEvent>
#include <QLocale>
#include <QMimeData>
#include <QTest>
#include <QUrl>

#include <cstdio>
#include <cstdlib>
#include <utility>

QString ScriptedDialogs::openFile(QWidget* /*parent*/, const QString& title, jobs::PathRole /*role*/,
                                  const QString& /*filter*/) {
    asked.append(title);
    return paths.isEmpty() ? QString() : paths.takeFirst();
}

QStringList ScriptedDialogs::openFiles(QWidget* /*parent*/, const QString& title, jobs::PathRole /*role*/,
                                       const QString& /*filter*/) {
    asked.append(title);
    return std::exchange(paths, {});
}

QString ScriptedDialogs::saveFile(QWidget* /*parent*/, const QString& title, jobs::PathRole /*role*/,
                                  const QString& /*filter*/, const QString& /*proposed*/) {
    asked.append(title);
    return paths.isEmpty() ? QString() : paths.takeFirst();
}

QString ScriptedDialogs::openFolder(QWidget* /*parent*/, const QString& title, jobs::PathRole /*role*/) {
    asked.append(title);
    return paths.isEmpty() ? QString() : paths.takeFirst();
}

desktop::SaveAnswer ScriptedDialogs::askSave(QWidget* /*parent*/, const QString& document) {
    asked.append(document);
    return answers.isEmpty() ? desktop::SaveAnswer::cancel : answers.takeFirst();
}

QString ScriptedDialogs::askPin(QWidget* /*parent*/, const QString& question) {
    asked.append(question);
    return pin;
}

bool ScriptedDialogs::confirm(QWidget* /*parent*/, const QString& question, const QString& /*action*/) {
    asked.append(question);
    return !confirmations.isEmpty() && confirmations.takeFirst();
}

void ScriptedDialogs::showFault(QWidget* /*parent*/, const QString& text) {
    faults.append(text);
}

DesktopKit::DesktopKit()
    : settings(folder.path("settings.ini")),
      dialogs(settings),
      context{dialogs, settings, QStringLiteral(QVORA_TOOL)},
      window(std::make_unique<desktop::MainWindow>(desktop::pageTable(), context)) {
    window->resize(1280, 800);
    window->show();
    QApplication::setActiveWindow(window.get());
    (void)QTest::qWaitForWindowActive(window.get());
}

desktop::Page* DesktopKit::show(const char* page) {
    if (!window->showPage(QLatin1String(page))) {
        qFatal("there is no page %s", page);
    }
    QCoreApplication::processEvents();
    return window->page();
}

QWidget* DesktopKit::find(const char* name) {
    for (QWidget* widget : window->page()->findChildren<QWidget*>(QLatin1String(name))) {
        if (widget->isVisible() && widget->isEnabled()) {
            return widget;
        }
    }
    qFatal("the page has no %s that can be used", name);
}

void DesktopKit::type(const char* name, const QString& text) {
    QWidget* widget = find(name);
    widget->setFocus(Qt::TabFocusReason);
    if (QWidget* inner = QApplication::focusWidget(); inner != nullptr && widget->isAncestorOf(inner)) {
        widget = inner;
    }
    if (!widget->inherits("QComboBox")) {  // a combo box searches for typed keys, even for Ctrl+A
        QTest::keyClick(widget, Qt::Key_A, Qt::ControlModifier);
    }
    if (text.isEmpty()) {
        QTest::keyClick(widget, Qt::Key_Delete);
    }
    QTest::keyClicks(widget, text);
    QTest::keyClick(widget, Qt::Key_Tab);
}

void DesktopKit::press(const char* name) {
    QWidget* button = find(name);
    button->setFocus(Qt::TabFocusReason);
    QTest::keyClick(button, Qt::Key_Space);
}

void DesktopKit::drop(QWidget& target, const QStringList& paths) {
    QMimeData data;
    QList<QUrl> urls;
    for (const QString& path : paths) {
        urls.append(QUrl::fromLocalFile(path));
    }
    data.setUrls(urls);
    QDragEnterEvent enter(QPoint(1, 1), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&target, &enter);
    if (enter.isAccepted()) {
        QDropEvent event(QPoint(1, 1), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&target, &event);
    }
}

bool DesktopKit::waitFor(const std::function<bool()>& condition, int seconds) {
    const QDeadlineTimer end(seconds * 1000);
    while (!condition()) {
        if (end.hasExpired()) {
            return false;
        }
        QTest::qWait(5);
    }
    return true;
}

namespace {

/// Prints the messages of Qt, except those about size hints and a missing XDG_RUNTIME_DIR, which the offscreen platform
/// causes.
void printMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text) {
    if (!text.contains(QLatin1String("propagateSizeHints")) && !text.contains(QLatin1String("XDG_RUNTIME_DIR"))) {
        std::fprintf(stderr, "%s\n", qPrintable(text));
    }
    if (type == QtFatalMsg) {
        std::abort();
    }
}

}  // namespace

std::unique_ptr<QApplication> makeTestApplication(int& argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler(printMessage);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QCoreApplication::setApplicationName(QStringLiteral("QVORA Sealed Bundle Builder"));
    auto application = std::make_unique<QApplication>(argc, argv);
    QApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 10));
    desktop::applyTheme(*application, desktop::ThemeScheme::light);
    application->installEventFilter(new desktop::InputFilter(application.get()));
    return application;
}
