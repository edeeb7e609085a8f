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

/// Where the file that the program is started with is shown: a saved job has its place, any other file no page of its
/// own.
JobPlace placeOfFile(const QString& path) {
    Job job;
    QString fault;
    return readJobFile(path, job, fault) ? placeOf(job, path) : JobPlace{{}, path};
}

/// What the program is started with.
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

/// Does what needs no display: tells the options or the version, prints the command line of a saved job. False if the
/// window is asked for.
bool endsWithoutWindow(int argc, char** argv, int& status) {
    const QCoreApplication application(argc, argv);
    StartOptions options;
    (void)options.parser.parse(QCoreApplication::arguments());
    if (options.parser.isSet(options.help)) {
        options.parser.showHelp();
    }
    if (options.parser.isSet(options.version)) {
        options.parser.showVersion();
    }
    if (!options.parser.isSet(options.printCommand)) {
        return false;
    }
    QString line;
    QString fault;
    const bool read = commandLineOfJobFile(options.parser.value(options.printCommand), toolPath(), line, fault);
    std::fprintf(read ? stdout : stderr, "%s\n", (read ? line : fault).toUtf8().constData());
    status = read && std::fflush(stdout) == 0 ? 0 : 2;
    return true;
}

/// The look that `name` names; false if none does.
bool readScheme(const QString& name, ThemeScheme& scheme) {
    if (name == QLatin1String("system")) {
        scheme = ThemeScheme::system;
    } else if (name == QLatin1String("light")) {
        scheme = ThemeScheme::light;
    } else if (name == QLatin1String("dark")) {
        scheme = ThemeScheme::dark;
    } else {
        return false;
    }
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

    Settings settings;
    if (parser.isSet(options.devices)) {
        settings.setDeviceFolder(QDir(parser.value(options.devices)).absolutePath());
    }
    ThemeScheme scheme = settings.scheme();
    if (parser.isSet(options.theme) && !readScheme(parser.value(options.theme), scheme)) {
        std::fprintf(stderr, "The look is system, light or dark, not \"%s\".\n",
                     qPrintable(parser.value(options.theme)));
        return 2;
    }
    Theme::apply(application, scheme);
    Dialogs dialogs(settings);
    PageContext context{dialogs, settings, toolPath()};
    InputFilter filter;
    application.installEventFilter(&filter);
    MainWindow window(context);
    if (parser.isSet(options.page) && !window.showPage(parser.value(options.page))) {
        std::fprintf(stderr, "There is no page \"%s\".\n", qPrintable(parser.value(options.page)));
        return 2;
    }
    JobPlace place = {{}, parser.positionalArguments().value(0)};
    if (!parser.isSet(options.page)) {
        place = placeOfFile(place.file);
    }
    if (!parser.isSet(options.page) && !window.showPage(place.page) && !window.showPage(settings.lastPage()) &&
        !pageTable().isEmpty()) {
        (void)window.showPage(QLatin1String(pageTable().first().id));
    }
    window.show();
    if (!place.file.isEmpty()) {
        (void)window.openFile(place.file);
    }
    return QApplication::exec();
}
