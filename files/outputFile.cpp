#include "files/outputFile.h"

#include "display/Display.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <sys/stat.h>
#include <cstdio>

namespace {

/// The permissions of a file that is made in the plain way.
mode_t newFileMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// Never in place, not even in a folder that takes no new file: a write that fails halfway would cost the old file, and
// half of a new one could be taken for all of it. The file isn't forced to the disk, which takes longer than all the
// rest of a run.
ReplaceResult writeAndRename(const QFileInfo& place, const ContentWriter& writeContent) {
    const bool isOld = place.exists();
    const QString target = isOld ? place.canonicalFilePath() : place.filePath();  // a link stays one
    QTemporaryFile file(QFileInfo(target).path() + QStringLiteral("/.XXXXXX"));
    if ((isOld && !place.isWritable()) || place.fileName().isEmpty() || !file.open()) {
        return ReplaceResult::cannotOpen;
    }
    const bool complete =
        writeContent(file) && file.flush() &&
        (isOld ? file.setPermissions(place.permissions()) : fchmod(file.handle(), newFileMode()) == 0);
    if (!complete) {
        return ReplaceResult::cannotWrite;
    }
    const QByteArray from = QFile::encodeName(file.fileName());
    if (std::rename(from.constData(), QFile::encodeName(target).constData()) != 0) {
        return ReplaceResult::cannotOpen;
    }
    file.setAutoRemove(false);
    return ReplaceResult::done;
}

}  // namespace

ReplaceResult replaceFileBy(const QString& path, const ContentWriter& writeContent) {
    const QFileInfo place(path);
    // A link that leads nowhere may be one to a pipe.
    if (place.isFile() || (!place.exists() && !place.isSymLink())) {
        return writeAndRename(place, writeContent);
    }
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return ReplaceResult::cannotOpen;
    }
    return writeContent(file) && file.flush() ? ReplaceResult::done : ReplaceResult::cannotWrite;
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
