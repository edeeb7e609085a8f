#include "files/outputFile.h"

#include "display/Display.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

ReplaceResult writeThrough(QFileDevice& file, const ContentWriter& writeContent) {
    if (!file.open(QIODevice::WriteOnly)) {
        return ReplaceResult::cannotOpen;
    }
    return writeContent(file) && file.flush() ? ReplaceResult::done : ReplaceResult::cannotWrite;
}

}  // namespace

ReplaceResult replaceFileBy(const QString& path, const ContentWriter& writeContent) {
    const QFileInfo old(path);
    if (old.isFile()) {
        // Never in place, not even in a folder that takes no new file: a write that fails halfway would cost the old.
        QSaveFile file(path);
        const ReplaceResult result = writeThrough(file, writeContent);
        return result == ReplaceResult::done && !file.commit() ? ReplaceResult::cannotWrite : result;
    }
    // A new file, or a device or pipe, which can't be replaced but takes bytes.
    QFile file(path);
    const ReplaceResult result = writeThrough(file, writeContent);
    if (result == ReplaceResult::cannotWrite && !old.exists()) {
        file.remove();
    }
    return result;
}

ReplaceResult replaceFile(const QString& path, QByteArrayView bytes) {
    return replaceFileBy(path,
                         [bytes](QFileDevice& file) { return file.write(bytes.data(), bytes.size()) == bytes.size(); });
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
