#include "images/imageFile.h"

#include "display/Display.h"
#include "files/memoryFile.h"
#include "files/outputFile.h"
#include "files/readExactly.h"

#include <QFile>

#include <algorithm>

bool writeImage(const QString& path, QByteArrayView image) {
    return reportReplacement(replaceFile(path, image, FileAccess::ownerOnly), path,
                             {"Failed to open %s file in write mode.", "Failed to write %s file."});
}

bool readImage(const QString& path, QByteArray& image, qint64 most) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return reportError("Failed to open %s file in write mode.", qUtf8Printable(path));
    }
    if (!takePipeWhole(file, path)) {
        return false;
    }
    const qint64 size = std::min(file.size(), most);
    switch (memoryAvailable(size) && canAllocate(2 * size) ? readExactly(file, size, image) : ReadStatus::noMemory) {
        case ReadStatus::done:
            return true;
        case ReadStatus::noMemory:
            return reportError("The file %s is too large for the memory.", qUtf8Printable(path));
        case ReadStatus::cutShort:
            break;
    }
    return reportError("Failed to read %s file.", qUtf8Printable(path));
}
