#include "desktop/Dialogs.h"
#include "desktop/InputFilter.h"
#include "desktop/MainWindow.h"
#include "desktop/Settings.h"
#include "desktop/jobFile.h"

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

QCommandLineOption printCommandOption() {
    return {QStringLiteral("print-command"), QStringLiteral("Prints the command line of a saved job and ends."),
            QStringLiteral("job.json")};
}

QString toolPath() {
    return QCoreApplication::applicationDirPath() + QStringLiteral("/QVORASealedBundleBuilder_CLI");
}

QString pageIds() {
    QStringList ids;
    for (const PageRow& row : pageTable()) {
        ids.append(QLatin1String(row.id));
    }
    return ids.join(QStringLiteral(", "));
}

/// The page of the saved job at `path`; empty if it is none.
QString pageOfJob(const QString& path) {
    Job job;
    QString fault;
    return readJobFile(path, job, fault) ? QString::fromLatin1(job.row->id) : QString();
}

/// Prints the command line of the saved job that --print-command names, without a display. False if it isn't asked for.
bool printsCommand(int argc, char** argv, int& status) {
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addOption(printCommandOption());
    (void)parser.parse(QCoreApplication::arguments());
    if (!parser.isSet(printCommandOption())) {
        return false;
    }
    QString line;
    QString fault;
    const bool read = commandLineOfJobFile(parser.value(printCommandOption()), toolPath(), line, fault);
    std::fprintf(read ? stdout : stderr, "%s\n", (read ? line : fault).toUtf8().constData());
    status = read && std::fflush(stdout) == 0 ? 0 : 2;
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    nameApplication();
    int status = 0;
    if (printsCommand(argc, argv, status)) {
        return status;
    }
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
    parser.addOptions({theme, devices, page, printCommandOption()});
    parser.addPositionalArgument(QStringLiteral("file"),
                                 QStringLiteral("A file to open on that page; a saved job opens its own."),
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
    PageContext context{dialogs, settings, toolPath()};
    InputFilter filter;
    application.installEventFilter(&filter);
    MainWindow window(context);
    if (parser.isSet(page) && !window.showPage(parser.value(page))) {
        std::fprintf(stderr, "There is no page \"%s\".\n", qPrintable(parser.value(page)));
        return 2;
    }
    const QString file = parser.positionalArguments().value(0);
    if (!parser.isSet(page) && !window.showPage(pageOfJob(file)) && !window.showPage(settings.lastPage()) &&
        !pageTable().isEmpty()) {
        (void)window.showPage(QLatin1String(pageTable().first().id));
    }
    window.show();
    if (!file.isEmpty()) {
        (void)window.openFile(file);
    }
    return QApplication::exec();
}
