#include "desktop/Dialogs.h"
#include "desktop/InputFilter.h"
#include "desktop/MainWindow.h"
#include "desktop/Settings.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QIcon>

#include <cstdio>

namespace {

void nameApplication() {
    QCoreApplication::setOrganizationName(QStringLiteral("QVORA"));
    QCoreApplication::setApplicationName(QStringLiteral("QVORA Sealed Bundle Builder"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QVORA_VERSION));
}

QString pageIds() {
    QStringList ids;
    for (const PageRow& row : pageTable()) {
        ids.append(QLatin1String(row.id));
    }
    return ids.join(QStringLiteral(", "));
}

}  // namespace

int main(int argc, char** argv) {
    nameApplication();
    QApplication application(argc, argv);
    QGuiApplication::setDesktopFileName(QStringLiteral("com.qvora.SealedBundleBuilder"));
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/com.qvora.SealedBundleBuilder.svg")));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Packages and provisions firmware of secure microcontrollers, in a window."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption theme(QStringLiteral("theme"), QStringLiteral("system, light or dark, for this run."),
                                   QStringLiteral("look"));
    const QCommandLineOption devices(
        QStringLiteral("devices"), QStringLiteral("Your own folder of device descriptions."), QStringLiteral("folder"));
    const QCommandLineOption page(QStringLiteral("page"), QStringLiteral("The page to begin with: %1.").arg(pageIds()),
                                  QStringLiteral("page"));
    parser.addOptions({theme, devices, page});
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("A file to open on that page."),
                                 QStringLiteral("[file]"));
    parser.process(application);

    Settings settings;
    if (parser.isSet(devices)) {
        settings.setDeviceFolder(QDir(parser.value(devices)).absolutePath());
    }
    Theme::apply(application, parser.value(theme) == QLatin1String("dark")    ? ThemeScheme::dark
                              : parser.value(theme) == QLatin1String("light") ? ThemeScheme::light
                                                                              : settings.scheme());
    Dialogs dialogs(settings);
    PageContext context{dialogs, settings,
                        QCoreApplication::applicationDirPath() + QStringLiteral("/QVORASealedBundleBuilder_CLI")};
    InputFilter filter;
    application.installEventFilter(&filter);
    MainWindow window(context);
    if (parser.isSet(page) && !window.showPage(parser.value(page))) {
        std::fprintf(stderr, "There is no page \"%s\".\n", qPrintable(parser.value(page)));
        return 2;
    }
    if (!parser.isSet(page) && !window.showPage(settings.lastPage()) && !pageTable().isEmpty()) {
        (void)window.showPage(QLatin1String(pageTable().first().id));
    }
    window.show();
    if (!parser.positionalArguments().isEmpty()) {
        (void)window.openFile(parser.positionalArguments().first());
    }
    return QApplication::exec();
}
