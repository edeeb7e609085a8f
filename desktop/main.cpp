#include "desktop/look/applyTheme.h"
#include "desktop/page/Dialogs.h"
#include "desktop/page/Settings.h"
#include "desktop/pageTable.h"
#include "desktop/window/InputFilter.h"
#include "desktop/window/MainWindow.h"
#include "display/buildVersion.h"
#include "jobs/jobFile.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QIcon>

#include <algorithm>
#include <cstdio>

namespace {

void nameApplication() {
    QCoreApplication::setOrganizationName(QStringLiteral("QVORA"));
    QCoreApplication::setApplicationName(QStringLiteral("QVORA Sealed Bundle Builder"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(buildVersion));
}

QString toolPath() {
    return QCoreApplication::applicationDirPath() + QStringLiteral("/QVORASealedBundleBuilder_CLI");
}

QString pageIds() {
    QStringList ids;
    for (const desktop::PageRow& row : desktop::pageTable()) {
        ids.append(QLatin1String(row.id));
    }
    return ids.join(QStringLiteral(", "));
}

/// The place to show the file from the command line: the page of a saved job, or no particular page for any other file.
jobs::JobPlace placeOfFile(const QString& path) {
    jobs::Job job;
    QString fault;
    return jobs::readJobFile(path, job, fault) ? jobs::placeOf(job, path) : jobs::JobPlace{{}, path};
}

/// The command-line options.
struct StartOptions {
    StartOptions() {
        parser.setApplicationDescription(
            QStringLiteral("Packages and provisions firmware of secure microcontrollers, in a window."));
        parser.addOptions({theme, devices, page, printCommand});
        parser.addPositionalArgument(QStringLiteral("file"),
                                     QStringLiteral("A file to open on that page; a saved job opens its own."),
                                     QStringLiteral("[file]"));
    }

    QCommandLineParser parser;
    QCommandLineOption help = parser.addHelpOption();
    QCommandLineOption version = parser.addVersionOption();
    QCommandLineOption theme{QStringLiteral("theme"), QStringLiteral("system, light or dark, for this run."),
                             QStringLiteral("look")};
    QCommandLineOption devices{QStringLiteral("devices"), QStringLiteral("Your own folder of device descriptions."),
                               QStringLiteral("folder")};
    QCommandLineOption page{QStringLiteral("page"), QStringLiteral("The page to begin with: %1.").arg(pageIds()),
                            QStringLiteral("page")};
    QCommandLineOption printCommand{QStringLiteral("print-command"),
                                    QStringLiteral("Prints the command line of a saved job and ends."),
                                    QStringLiteral("job.json")};
};

/// Reads the name of a look; false if there is no such look.
bool readScheme(const QString& name, desktop::ThemeScheme& scheme) {
    if (name == QLatin1String("system")) {
        scheme = desktop::ThemeScheme::system;
    } else if (name == QLatin1String("light")) {
        scheme = desktop::ThemeScheme::light;
    } else if (name == QLatin1String("dark")) {
        scheme = desktop::ThemeScheme::dark;
    } else {
        return false;
    }
    return true;
}

/// The arguments without Qt's own options, which QApplication would remove before parsing.
QStringList withoutQtOptions(const QStringList& arguments) {
    const QStringList alone = {QStringLiteral("reverse"), QStringLiteral("nograb"), QStringLiteral("dograb"),
                               QStringLiteral("sync"), QStringLiteral("widgetcount")};
    const QStringList withValue = {QStringLiteral("platform"),        QStringLiteral("platformpluginpath"),
                                   QStringLiteral("platformtheme"),   QStringLiteral("plugin"),
                                   QStringLiteral("qwindowgeometry"), QStringLiteral("qwindowicon"),
                                   QStringLiteral("qwindowtitle"),    QStringLiteral("display"),
                                   QStringLiteral("session"),         QStringLiteral("style"),
                                   QStringLiteral("stylesheet")};
    QStringList rest;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& word = arguments.at(i);
        const QString name = word.mid(word.startsWith(QLatin1String("--")) ? 2 : 1).section(u'=', 0, 0);
        if (!word.startsWith(u'-') || !(alone.contains(name) || withValue.contains(name))) {
            rest.append(word);
        } else if (withValue.contains(name) && !word.contains(u'=')) {
            ++i;
        }
    }
    return rest;
}

/// The fault in the options; empty if there is none.
QString faultOf(const StartOptions& options, bool isParsed) {
    const QCommandLineParser& parser = options.parser;
    if (!isParsed) {
        return parser.errorText();
    }
    desktop::ThemeScheme scheme = desktop::ThemeScheme::system;
    const QString look = parser.value(options.theme);
    if (parser.isSet(options.theme) && !readScheme(look, scheme)) {
        return QStringLiteral("The look is system, light or dark, not \"%1\".").arg(look);
    }
    const QString page = parser.value(options.page);
    const QList<desktop::PageRow>& pages = desktop::pageTable();
    const bool isPage = std::any_of(pages.begin(), pages.end(),
                                    [&page](const desktop::PageRow& row) { return page == QLatin1String(row.id); });
    return parser.isSet(options.page) && !isPage ? QStringLiteral("There is no page \"%1\".").arg(page) : QString();
}

/// Handles everything that needs no display: shows the help or the version, prints the command line of a saved job, or
/// reports wrong options. Returns false if the window should open.
bool endsWithoutWindow(int argc, char** argv, int& status) {
    const QCoreApplication application(argc, argv);
    StartOptions options;
    const bool isParsed = options.parser.parse(withoutQtOptions(QCoreApplication::arguments()));
    if (options.parser.isSet(options.help)) {
        options.parser.showHelp();
    }
    if (options.parser.isSet(options.version)) {
        options.parser.showVersion();
    }
    QString fault = faultOf(options, isParsed);
    if (fault.isEmpty() && !options.parser.isSet(options.printCommand)) {
        return false;
    }
    QString line;
    const bool isDone = fault.isEmpty() &&
                        jobs::commandLineOfJobFile(options.parser.value(options.printCommand), toolPath(), line, fault);
    std::fprintf(isDone ? stdout : stderr, "%s\n", (isDone ? line : fault).toUtf8().constData());
    status = isDone && std::fflush(stdout) == 0 ? 0 : 2;
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    nameApplication();
    int status = 0;
    if (endsWithoutWindow(argc, argv, status)) {
        return status;
    }
    QApplication application(argc, argv);
    QGuiApplication::setDesktopFileName(QStringLiteral("com.qvora.SealedBundleBuilder"));
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/com.qvora.SealedBundleBuilder.svg")));
    StartOptions options;
    const QCommandLineParser& parser = options.parser;
    options.parser.process(application);

    desktop::Settings settings;
    if (parser.isSet(options.devices)) {
        settings.setDeviceFolder(QDir(parser.value(options.devices)).absolutePath());
    }
    desktop::ThemeScheme scheme = settings.scheme();
    (void)readScheme(parser.value(options.theme), scheme);  // valid or absent: faultOf has checked it
    desktop::applyTheme(application, scheme);
    desktop::Dialogs dialogs(settings);
    desktop::PageContext context{dialogs, settings, toolPath()};
    desktop::InputFilter filter;
    application.installEventFilter(&filter);
    desktop::MainWindow window(desktop::pageTable(), context);
    jobs::JobPlace place = {{}, parser.positionalArguments().value(0)};
    const bool isPageGiven = window.showPage(parser.value(options.page));
    if (!isPageGiven) {
        place = placeOfFile(place.file);
    }
    if (!isPageGiven && !window.showPage(place.page) && !window.showPage(settings.lastPage()) &&
        !desktop::pageTable().isEmpty()) {
        (void)window.showPage(QLatin1String(desktop::pageTable().first().id));
    }
    window.show();
    if (!place.file.isEmpty()) {
        (void)window.openFile(place.file);
    }
    return QApplication::exec();
}
