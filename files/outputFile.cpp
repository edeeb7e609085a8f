#include "files/outputFile.h"

#include "display/Display.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <sys/stat.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

mode_t newFileMode(NewFileAccess access) {
    if (access == NewFileAccess::ownerOnly) {
        return 0600;
    }
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

/// A content on its way to its place.
//
// Never in place, not even in a folder that takes no new file: a write that fails halfway would cost the old file, and
// half of a new one could be taken for all of it. The file isn't forced to the disk, which takes longer than all the
// rest of a run.
class PendingFile {
  public:
    ReplaceResult write(const QString& path, const ContentWriter& writeContent, NewFileAccess access);
    ReplaceResult commit();

  private:
    ReplaceResult writeBeside(const QFileInfo& place, const ContentWriter& writeContent, NewFileAccess access);

    std::unique_ptr<QTemporaryFile> file_;  ///< null for a pipe or device, which has the content at once
    QString target_;
};

ReplaceResult PendingFile::write(const QString& path, const ContentWriter& writeContent, NewFileAccess access) {
    const QFileInfo place(path);
    // A link that leads nowhere may be one to a pipe.
    if (place.isFile() || (!place.exists() && !place.isSymLink())) {
        return writeBeside(place, writeContent, access);
    }
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return ReplaceResult::cannotOpen;
    }
    return writeContent(file) && file.flush() ? ReplaceResult::done : ReplaceResult::cannotWrite;
}

ReplaceResult PendingFile::writeBeside(const QFileInfo& place, const ContentWriter& writeContent,
                                       NewFileAccess access) {
    const bool isOld = place.exists();
    target_ = isOld ? place.canonicalFilePath() : place.filePath();  // a link stays one
    file_ = std::make_unique<QTemporaryFile>(QFileInfo(target_).path() + QStringLiteral("/.XXXXXX"));
    if ((isOld && !place.isWritable()) || place.fileName().isEmpty() || !file_->open()) {
        return ReplaceResult::cannotOpen;
    }
    const bool complete =
        writeContent(*file_) && file_->flush() &&
        (isOld ? file_->setPermissions(place.permissions()) : fchmod(file_->handle(), newFileMode(access)) == 0);
    return complete ? ReplaceResult::done : ReplaceResult::cannotWrite;
}

ReplaceResult PendingFile::commit() {
    if (file_ != nullptr) {
        const QByteArray from = QFile::encodeName(file_->fileName());
        if (std::rename(from.constData(), QFile::encodeName(target_).constData()) != 0) {
            // A path that leads nowhere would not have been opened either.
            const bool isNoPath = errno == ENAMETOOLONG || errno == ENOENT || errno == ENOTDIR;
            return isNoPath ? ReplaceResult::cannotOpen : ReplaceResult::cannotWrite;
        }
        file_->setAutoRemove(false);
    }
    return ReplaceResult::done;
}

/// Where a file would come to stand that isn't there yet: its folder may be named in several ways, and a link may lead
/// to where nothing is.
QString placeOf(const QString& path) {
    constexpr int maxLinks = 40;  // as many as the system follows
    QFileInfo file(path);
    for (int i = 0; i < maxLinks && file.isSymLink(); ++i) {
        file.setFile(file.symLinkTarget());
    }
    const QString folder = file.dir().canonicalPath();
    return (folder.isEmpty() ? file.absolutePath() : folder) + u'/' + file.fileName();
}

ContentWriter writerOf(QByteArrayView bytes) {
    return [bytes](QFileDevice& file) { return file.write(bytes.data(), bytes.size()) == bytes.size(); };
}

bool report(const OutputFile& output, ReplaceResult result) {
    switch (result) {
        case ReplaceResult::done:
            return true;
        case ReplaceResult::cannotOpen:
            return reportError("Failed to create output file %s", qUtf8Printable(output.path));
        case ReplaceResult::cannotWrite:
            break;
    }
    return reportError("%s", output.writeError);
}

}  // namespace

ReplaceResult replaceFileBy(const QString& path, const ContentWriter& writeContent, NewFileAccess access) {
    PendingFile file;
    const ReplaceResult result = file.write(path, writeContent, access);
    return result == ReplaceResult::done ? file.commit() : result;
}

ReplaceResult replaceFile(const QString& path, QByteArrayView bytes, NewFileAccess access) {
    return replaceFileBy(path, writerOf(bytes), access);
}

bool isSameFile(const QString& path, const QString& other) {
    struct stat first {};
    struct stat second {};
    const bool isThere = stat(QFile::encodeName(path).constData(), &first) == 0;
    if (isThere != (stat(QFile::encodeName(other).constData(), &second) == 0)) {
        return false;
    }
    return isThere ? first.st_dev == second.st_dev && first.st_ino == second.st_ino
                   : !path.isEmpty() && !other.isEmpty() && placeOf(path) == placeOf(other);
}

bool writeOutputFiles(std::initializer_list<OutputFile> outputs) {
    std::vector<PendingFile> files(outputs.size());
    auto file = files.begin();
    for (const OutputFile& output : outputs) {
        if (QFile::exists(output.path)) {
            displayMessage(MessageKind::warning, "The file %s already exists, it will be overwritten",
                           qUtf8Printable(output.path));
        }
        if (!report(output, (file++)->write(output.path, writerOf(output.bytes), NewFileAccess::asUsual))) {
            return false;
        }
    }
    file = files.begin();
    return std::all_of(outputs.begin(), outputs.end(),
                       [&file](const OutputFile& output) { return report(output, (file++)->commit()); });
}

bool writeOutputFile(const QString& path, QByteArrayView bytes, const char* writeError) {
    return writeOutputFiles({{path, bytes, writeError}});
}
