#include "files/outputFile.h"

#include "display/Display.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <cstdio>

namespace {

// Never in place, not even in a folder that takes no new file: a write that fails halfway would cost the old file. The
// new one isn't forced to the disk, which takes longer than all the rest of a run.
ReplaceResult replaceOldFile(const QFileInfo& old, const ContentWriter& writeContent) {
    const QString target = old.canonicalFilePath();  // a link stays one
    QTemporaryFile file(target + QStringLiteral(".XXXXXX"));
    if (!old.isWritable() || !file.open()) {
        return ReplaceResult::cannotOpen;
    }
    const bool complete = writeContent(file) && file.flush() && file.setPermissions(old.permissions());
    const QByteArray from = QFile::encodeName(file.fileName());
    if (!complete || std::rename(from.constData(), QFile::encodeName(target).constData()) != 0) {
        return ReplaceResult::cannotWrite;
    }
    file.setAutoRemove(false);
    return ReplaceResult::done;
}

}  // namespace

ReplaceResult replaceFileBy(const QString& path, const ContentWriter& writeContent) {
    const QFileInfo old(path);
    if (old.isFile()) {
        return replaceOldFile(old, writeContent);
    }
    // A new file, or a device or pipe, which can't be replaced but takes bytes.
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return ReplaceResult::cannotOpen;
    }
    if (writeContent(file) && file.flush()) {
        return ReplaceResult::done;
    }
    if (!old.exists()) {
        file.remove();
    }
    return ReplaceResult::cannotWrite;
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
