#include "images/imageFile.h"

#include "display/Display.h"
#include "files/outputFile.h"
#include "files/readExactly.h"

#include <QFile>
#include <QFileInfo>

bool writeImage(const QString& path, QByteArrayView image) {
    return reportReplacement(replaceFile(path, image, FileAccess::ownerOnly), path,
                             {"Failed to open %s file in write mode.", "Failed to write %s file."});
}

bool readImage(const QString& path, QByteArray& image) {
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return reportError("Failed to open %s file in write mode.", qUtf8Printable(path));
    }
    const qint64 size = file.size();
    return (canAllocate(2 * size) && readUpTo(file, size, image)) ||
           reportError("Failed to read %s file.", qUtf8Printable(path));
}
