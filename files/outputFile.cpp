#include "files/outputFile.h"

#include "display/Display.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

ReplaceResult writeThrough(QFileDevice& file, QByteArrayView bytes) {
    if (!file.open(QIODevice::WriteOnly)) {
        return ReplaceResult::cannotOpen;
    }
    const bool written = file.write(bytes.data(), bytes.size()) == bytes.size() && file.flush();
    return written ? ReplaceResult::done : ReplaceResult::cannotWrite;
}

}  // namespace

ReplaceResult replaceFile(const QString& path, QByteArrayView bytes) {
    const QFileInfo old(path);
    if (old.isFile()) {
        QSaveFile file(path);
        file.setDirectWriteFallback(true);  // in a folder that takes no new file
        const ReplaceResult result = writeThrough(file, bytes);
        return result == ReplaceResult::done && !file.commit() ? ReplaceResult::cannotWrite : result;
    }
    // A new file, or a device or pipe, which can't be replaced but takes bytes.
    QFile file(path);
    const ReplaceResult result = writeThrough(file, bytes);
    if (result == ReplaceResult::cannotWrite && !old.exists()) {
        file.remove();
    }
    return result;
}

bool writeOutputFile(const QString& path, QByteArrayView bytes, const char* writeError) {
    if (QFile::exists(path)) {
        displayMessage(MessageKind::warning, "The file %s already exists, it will be overwritten",
                       qUtf8Printable(path));
    }
    switch (replaceFile(path, bytes)) {
        case ReplaceResult::done:
            return true;
        case ReplaceResult::cannotOpen:
            return reportError("Failed to create output file %s", qUtf8Printable(path));
        case ReplaceResult::cannotWrite:
            break;
    }
    return reportError("%s", writeError);
}
