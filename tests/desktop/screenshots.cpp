// desktop_screenshots FOLDER [PAGE]: draws every page of the window, or one page, as a picture.

#include "desktop/look/applyTheme.h"
#include "tests/desktop/DesktopKit.h"
#include "tests/desktop/scenes.h"

#include "desktop/pageTable.h"

#include <QDir>
#include <QTest>

#include <cstdio>

namespace {

bool draw(const QDir& folder, DesktopKit& kit, const QString& name) {
    QTest::qWait(50);
    const QString path = folder.filePath(name + QStringLiteral(".png"));
    if (!kit.window->grab().save(path)) {
        std::fprintf(stderr, "%s can't be written.\n", qPrintable(path));
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const std::unique_ptr<QApplication> application = makeTestApplication(argc, argv);
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "desktop_screenshots FOLDER [PAGE]\n");
        return 2;
    }
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    // With the tool on the PATH, command lines begin with its name only, as they do in an installed program.
    qputenv("PATH", QFileInfo(QStringLiteral(QVORA_TOOL)).path().toUtf8() + ':' + qgetenv("PATH"));
    const auto isWanted = [&](const char* page) { return argc < 3 || qstrcmp(page, argv[2]) == 0; };
    bool drawn = folder.mkpath(QStringLiteral("."));
    for (const desktop::ThemeScheme scheme : {desktop::ThemeScheme::light, desktop::ThemeScheme::dark}) {
        desktop::applyTheme(*application, scheme);
        const QString look = scheme == desktop::ThemeScheme::dark ? QStringLiteral("-dark") : QStringLiteral("-light");
        for (const desktop::PageRow& row : desktop::pageTable()) {
            if (!isWanted(row.id)) {
                continue;
            }
            DesktopKit kit;
            kit.show(row.id);
            drawn = draw(folder, kit, QLatin1String(row.id) + look) && drawn;
        }
        for (const Scene& scene : scenes()) {
            if (!isWanted(scene.page)) {
                continue;
            }
            DesktopKit kit;
            play(scene, kit);
            drawn = draw(folder, kit, QLatin1String(scene.page) + u'-' + QLatin1String(scene.name) + look) && drawn;
        }
    }
    return drawn ? 0 : 1;
}
