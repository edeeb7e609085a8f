#include "tests/desktop/inspectScenes.h"

#include "tests/desktop/sampleImages.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QTabWidget>
#include <QTest>
#include <QTreeView>

namespace {

/// Opens a file on the page "Inspect a file" and waits for the verdict.
void inspectFile(DesktopKit& kit, const QString& path) {
    (void)kit.window->openFile(path);
    (void)DesktopKit::waitFor([&] {
        const auto* verdict = kit.window->page()->findChild<QLabel*>(QStringLiteral("verdict"));
        return verdict->isVisible() && !verdict->text().isEmpty() &&
               !verdict->text().startsWith(QLatin1String("Reading"));
    });
}

void chooseSecondArea(DesktopKit& kit) {
    QWidget* map = kit.find("map");
    map->setFocus();
    for (const Qt::Key key : {Qt::Key_Home, Qt::Key_Down, Qt::Key_Down}) {
        QTest::keyClick(map, key);
    }
}

void verifyWithKey(DesktopKit& kit) {
    auto* tabs = kit.find<QTabWidget>("tabs");
    tabs->setCurrentIndex(2);
    kit.type("key", kit.folder.write("key.bin", fileContent(QStringLiteral(QVORA_EXAMPLES "/firmware/key.bin"))));
    auto* verdict = kit.find<QLabel>("verdict");
    const QString before = verdict->text();
    kit.press("run");
    (void)DesktopKit::waitFor([&] { return verdict->text() != before; });
}

}  // namespace

void showImage(DesktopKit& kit) {
    inspectFile(kit, makeInstallImage(kit, "product.tbi"));
    chooseSecondArea(kit);
}

void proveImage(DesktopKit& kit) {
    inspectFile(kit, makeInstallImage(kit, "product.tbi"));
    verifyWithKey(kit);
}

void showContents(DesktopKit& kit) {
    inspectFile(kit, makeInstallImage(kit, "product.tbi"));
    kit.find<QTabWidget>("tabs")->setCurrentIndex(2);
    const QString devices = kit.folder.path("devices");
    (void)QDir().mkpath(devices);
    kit.folder.write("devices/lamp.xml", fileContent(QStringLiteral(QVORA_DATA_BASE "/example-0x455.xml")));
    kit.type("devices", devices);
    verifyWithKey(kit);
    kit.find<QTabWidget>("tabs")->setCurrentIndex(0);
    auto* tree = kit.find<QTreeView>("tree");
    const QModelIndex file = tree->model()->index(0, 0);
    for (int row = 0; row < tree->model()->rowCount(file); ++row) {
        const QModelIndex line = tree->model()->index(row, 0, file);
        if (line.data().toString() == QLatin1String("content of area 5 C")) {
            tree->setCurrentIndex(line);
            tree->expandRecursively(line);
            tree->scrollTo(line, QAbstractItemView::PositionAtTop);
        }
    }
}

void proveWrongImage(DesktopKit& kit) {
    // The new address puts the third area inside the second one.
    inspectFile(kit, changedCopy(kit, makeInstallImage(kit, "product.tbi"), "changed.tbi", 51384 + 8,
                                 QByteArray::fromHex("00800108")));
    verifyWithKey(kit);
}

void giveKeys(DesktopKit& kit) {
    inspectFile(kit, makeInstallImage(kit, "product.tbi"));
    kit.press("giveKeys");
    kit.type("key", QStringLiteral(QVORA_EXAMPLES "/firmware/option-bytes.csv"));
}

void compareImages(DesktopKit& kit) {
    inspectFile(kit, makeInstallImage(kit, "product.tbi"));
    verifyWithKey(kit);
    kit.dialogs.paths = QStringList{makeInstallImage(kit, "product-2.tbi", 2)};
    kit.press("compare");
    auto* verdict = kit.find<QLabel>("verdict");
    (void)DesktopKit::waitFor([&] { return verdict->text().startsWith(QLatin1String("Different")); });
}

void showLargeImage(DesktopKit& kit) {
    constexpr qint64 size = 0x6400000;
    const QString path = kit.folder.path("large.mcuboot");
    QFile file(path);
    const QByteArray header = QByteArray::fromHex("3db8f396 00000000 2000 0000 00004006").leftJustified(32, '\0');
    const QByteArray trailer = QByteArray::fromHex("0769 2800 1000 2000") + QByteArray(32, 'd');
    if (!file.open(QIODevice::WriteOnly) || file.write(header) < 0 || !file.seek(header.size() + size) ||
        file.write(trailer) < 0) {
        qFatal("the large image can't be written");
    }
    file.close();
    inspectFile(kit, path);
}
