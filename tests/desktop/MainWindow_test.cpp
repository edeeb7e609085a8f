#include "tests/desktop/DesktopKit.h"
#include "tests/desktop/scenes.h"
#include "tests/desktop/textRoom.h"

#include "desktop/inspector/ByteView.h"
#include "desktop/inspector/MemoryMap.h"
#include "desktop/optionBytes/BitView.h"
#include "desktop/pageTable.h"
#include "desktop/secrets/OtpMapView.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QProcess>
#include <QScrollArea>
#include <QScrollBar>
#include <QSettings>
#include <QTest>
#include <QTextDocument>
#include <QTimer>

#include <gtest/gtest.h>

#include <cmath>

namespace {

double luminance(const QColor& color) {
    const auto linear = [](double part) {
        return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double contrast(const QColor& text, const QColor& ground) {
    const double a = luminance(text);
    const double b = luminance(ground);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

TEST(MainWindow, EveryTextColourContrastsWithItsBackground) {
    for (const bool dark : {false, true}) {
        const QPalette palette = desktop::Theme::palette(dark);
        const auto color = [dark](desktop::ThemeColor name) { return desktop::Theme::color(name, dark); };
        const struct {
            QColor text;
            QColor ground;
        } pairs[] = {
            {palette.color(QPalette::Text), palette.color(QPalette::Base)},
            {palette.color(QPalette::WindowText), palette.color(QPalette::Window)},
            {palette.color(QPalette::ButtonText), palette.color(QPalette::Button)},
            {palette.color(QPalette::ToolTipText), palette.color(QPalette::ToolTipBase)},
            {palette.color(QPalette::WindowText), color(desktop::ThemeColor::panel)},
            {color(desktop::ThemeColor::onAccent), color(desktop::ThemeColor::accent)},
            {color(desktop::ThemeColor::fault), palette.color(QPalette::Window)},
            {color(desktop::ThemeColor::warning), palette.color(QPalette::Window)},
            {color(desktop::ThemeColor::success), palette.color(QPalette::Window)},
            {color(desktop::ThemeColor::changed), palette.color(QPalette::Window)},
            {color(desktop::ThemeColor::quiet), palette.color(QPalette::Base)},
            {color(desktop::ThemeColor::quiet), color(desktop::ThemeColor::panel)},
            {palette.color(QPalette::Text), color(desktop::ThemeColor::mapBlock)},
            {palette.color(QPalette::Text), color(desktop::ThemeColor::mapUsed)},
            {palette.color(QPalette::Text), color(desktop::ThemeColor::mapFault)},
        };
        for (const auto& pair : pairs) {
            EXPECT_GE(contrast(pair.text, pair.ground), 4.5)
                << (dark ? "dark: " : "light: ") << pair.text.name().toStdString() << " on "
                << pair.ground.name().toStdString();
        }
    }
}

/// The letter after the first single '&', as a key sequence. Empty if there is none.
QString mnemonicOf(const QString& text) {
    const QKeySequence keys = QKeySequence::mnemonic(text);
    return keys.toString();
}

QString nameOf(const QWidget* widget) {
    return QLatin1String(widget->metaObject()->className()) + u' ' + widget->objectName();
}

/// The faults of a page for a user without a mouse or with a screen reader, and texts that don't fit.
QStringList faultsOf(const desktop::MainWindow& window) {
    QStringList faults;
    QHash<QString, QString> mnemonics;
    const auto note = [&](const QString& text) {
        const QString keys = mnemonicOf(text);
        if (!keys.isEmpty() && mnemonics.contains(keys)) {
            faults.append(keys + QStringLiteral(" for both ") + mnemonics.value(keys) + QStringLiteral(" and ") + text);
        }
        mnemonics.insert(keys, text);
    };
    for (const QAction* action : window.menuBar()->actions()) {
        note(action->text());
    }
    for (QWidget* widget : window.findChildren<QWidget*>()) {
        if (!widget->isVisible()) {
            continue;
        }
        const QString what = QLatin1String(widget->metaObject()->className()) + u' ' + widget->objectName();
        const auto* label = qobject_cast<QLabel*>(widget);
        const auto* button = qobject_cast<QAbstractButton*>(widget);
        if (label != nullptr && label->buddy() != nullptr) {
            note(label->text());
        }
        if (button != nullptr) {
            note(button->text());
        }
        const bool hasLine = (label != nullptr && !label->wordWrap()) || button != nullptr;
        if (hasLine && widget->width() < widget->minimumSizeHint().width()) {
            faults.append(what + QStringLiteral(" is too narrow for its text"));
        }
        QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(widget);
        if ((widget->focusPolicy() & Qt::TabFocus) != 0 && widget->isEnabled() && widget->focusProxy() == nullptr &&
            (spoken == nullptr || spoken->text(QAccessible::Name).isEmpty())) {
            faults.append(what + QStringLiteral(" has no spoken name"));
        }
        for (const QAccessible::Text kind : {QAccessible::Description, QAccessible::Help}) {
            if (spoken != nullptr && Qt::mightBeRichText(spoken->text(kind))) {
                faults.append(what + QStringLiteral(" has HTML in its spoken text"));
            }
        }
        const bool isPicture = qobject_cast<const desktop::ByteView*>(widget) != nullptr ||
                               qobject_cast<const desktop::MemoryMap*>(widget) != nullptr ||
                               qobject_cast<const desktop::OtpMapView*>(widget) != nullptr ||
                               qobject_cast<const desktop::BitView*>(widget) != nullptr;
        if (isPicture && (spoken == nullptr || spoken->role() == QAccessible::Client ||
                          spoken->text(QAccessible::Description).isEmpty())) {
            faults.append(what + QStringLiteral(" doesn't say what it is and what it shows"));
        }
        const auto* area = qobject_cast<QScrollArea*>(widget);
        if (area != nullptr && area->horizontalScrollBar()->maximum() > 0) {
            faults.append(what + QStringLiteral(" scrolls sideways"));
        }
    }
    return faults;
}

TEST(MainWindow, FindsPagesByTheWordsOfANewcomer) {
    const struct {
        const char* search;
        const char* page;
    } rows[] = {
        {"-tbi", "install-image"},
        {"tbu", "update-image"},
        {"sign", "sign"},
        {"--obk", "template"},
        {"provisioning file", "template"},
        {"hsm", "card"},
        {"card", "card"},
        {"smartcard", "card"},
        {"nonce", "keys"},
        {"print an image", "inspect"},
        {"--parse-tbi", "inspect"},
        {"pb", "template"},
        {"image through imgtool", "template"},
        {"encrypt external memory", "external-memory"},
        {"make a key", "key-pair"},
        {"the secrets", "secrets"},
        {"sign a wireless-chip binary", "wireless-sign"},
        {"what differs", "inspect"},
    };
    DesktopKit kit;
    for (const auto& row : rows) {
        QTest::keyClick(kit.window.get(), Qt::Key_K, Qt::ControlModifier);
        QTest::keyClicks(QApplication::focusWidget(), QLatin1String(row.search));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        EXPECT_EQ(kit.settings.lastPage().toStdString(), row.page) << row.search;
    }
}

/// The faults in the tab order of the window: Tab may move down or to the right, never back.
QStringList faultsOfOrder(const desktop::MainWindow& window) {
    QStringList faults;
    const auto placeOf = [&window](const QWidget* part) { return QRect(part->mapTo(&window, QPoint()), part->size()); };
    const QWidget* const first = QApplication::focusWidget();
    const QWidget* from = first;
    for (int steps = 0; steps < 200; ++steps) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QCoreApplication::processEvents();
        const QWidget* const to = QApplication::focusWidget();
        if (to == first || to == nullptr) {
            return faults;
        }
        const QRect a = placeOf(from);
        const QRect b = placeOf(to);
        const bool isUp = b.bottom() < a.top() && b.left() < a.right();
        const bool isBack = b.top() <= a.bottom() && b.bottom() >= a.top() && b.right() < a.left();
        if (isUp || isBack) {
            faults.append(nameOf(from) + QStringLiteral(" is followed by ") + nameOf(to));
        }
        from = to;
    }
    faults.append(QStringLiteral("Tab never comes back to ") + nameOf(first));
    return faults;
}

TEST(MainWindow, EveryPageCanBeUsedByKeyboardAndShowsItsTexts) {
    const QByteArray path = qgetenv("PATH");
    const QString folder = QDir::currentPath();
    QList<Scene> shown = scenes();
    for (const desktop::PageRow& row : desktop::pageTable()) {
        shown.append({row.id, "empty", [](DesktopKit& /*kit*/) {}});
    }
    for (const Scene& scene : shown) {
        const std::string where = std::string("\non the page ") + scene.page + ", " + scene.name;
        DesktopKit kit;
        play(scene, kit);
        QTest::qWait(50);  // until layouts that depend on others are done
        EXPECT_EQ(faultsOf(*kit.window).join(u'\n').toStdString(), "") << where;
        EXPECT_EQ(textsWithoutRoom(*kit.window).join(u'\n').toStdString(), "") << where;
        kit.window->resize(1024, 600);
        QTest::qWait(50);
        EXPECT_EQ(textsWithoutRoom(*kit.window).join(u'\n').toStdString(), "") << where << " on a small screen";
        kit.window->resize(1280, 800);
        QTest::keyClick(kit.window.get(), Qt::Key_K, Qt::ControlModifier);
        EXPECT_EQ(faultsOfOrder(*kit.window).join(u'\n').toStdString(), "") << where;
        qputenv("PATH", path);
    }
    QDir::setCurrent(folder);
}

TEST(Program, ReportsWrongOptionsWithoutADisplay) {
    const struct {
        QStringList arguments;
        const char* says;
    } rows[] = {
        {{QStringLiteral("--pagee"), QStringLiteral("sign")}, "Unknown option 'pagee'.\n"},
        {{QStringLiteral("--page"), QStringLiteral("sings")}, "There is no page \"sings\".\n"},
        {{QStringLiteral("--theme=blue"), QStringLiteral("-platform"), QStringLiteral("xcb")},
         "The look is system, light or dark, not \"blue\".\n"},
        {{QStringLiteral("--theme")}, "Missing value after '--theme'.\n"},
    };
    for (const auto& row : rows) {
        QProcess program;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* const name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
            environment.remove(QLatin1String(name));
        }
        program.setProcessEnvironment(environment);
        program.start(QStringLiteral(QVORA_PROGRAM), row.arguments);
        ASSERT_TRUE(program.waitForFinished());
        EXPECT_EQ(program.exitStatus(), QProcess::NormalExit) << row.says;
        EXPECT_EQ(program.exitCode(), 2) << row.says;
        EXPECT_EQ(program.readAllStandardError().toStdString(), row.says);
    }
}

TEST(Dialogs, AskBeforeAnAddedSuffixReplacesAFileAndStoreNoFolderOfKeys) {
    const TempFolder folder;
    desktop::Settings settings(folder.path("settings.ini"));
    desktop::Dialogs dialogs(settings);
    folder.write("pair.pem", "an older key");
    const auto noted = [] {
        const QSettings notes(QSettings::UserScope, QStringLiteral("QtProject"));
        return QVariantList{notes.value(QStringLiteral("FileDialog/lastVisited")),
                            notes.value(QStringLiteral("FileDialog/history"))};
    };
    const QVariantList before = noted();
    int questions = 0;
    QTimer user;
    QObject::connect(&user, &QTimer::timeout, [&] {
        QWidget* asking = QApplication::activeModalWidget();
        if (auto* files = qobject_cast<QFileDialog*>(asking)) {
            files->findChild<QLineEdit*>()->setText(folder.path("pair"));
            QMetaObject::invokeMethod(files, questions == 0 ? "accept" : "reject");
        } else if (auto* question = qobject_cast<QMessageBox*>(asking)) {
            ++questions;
            QTest::keyClick(question, Qt::Key_Return);
        }
    });
    user.start(20);
    const QString filter = QStringLiteral("PEM files (*.pem)");
    EXPECT_EQ(dialogs.saveFile(nullptr, QString(), jobs::PathRole::key, filter, QString()), QString());
    EXPECT_EQ(questions, 1);
    EXPECT_EQ(noted(), before);
}

}  // namespace
