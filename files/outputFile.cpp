#include "files/outputFile.h"

#include "display/Display.h"
#include "files/FileHandle.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <vector>

// A content goes to a new file beside the old one, which it then takes the place of: a write that fails halfway would
// cost the old file, and half of a new one could be taken for all of it. It isn't forced to the disk, which takes
// longer than all the rest of a run; keys are the exception.
//
// Not every folder lets that happen: one that is read-only, one where only the owner of a file may replace it, one in
// which the file is mounted by itself. An old file is then written over, but only when all of its new content stands in
// the other file (in memory, if the folder took none) and there is room for it.
//
// System calls are used directly: a buffer of the library's would keep a copy of a secret, and it takes a pipe behind a
// link, such as /dev/stdout, for something that isn't there.

namespace {

struct AccessRow {
    mode_t newMode;
    bool isKey;
};

mode_t usualMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

AccessRow rowOf(FileAccess access) {
    switch (access) {
        case FileAccess::ownerOnly:
            return {0600, false};
        case FileAccess::ownerReads:
            return {0400, true};
        case FileAccess::ownerReadsAndWrites:
            return {0600, true};
        case FileAccess::everybodyReads:
            return {0444, true};
        case FileAccess::asUsual:
            break;
    }
    return {usualMode(), false};
}

/// The file behind all links, whether it is there or not.
QString behindLinks(QString path) {
    constexpr int mostLinks = 40;
    for (int i = 0; i < mostLinks && QFileInfo(path).isSymLink(); ++i) {
        path = QFileInfo(path).symLinkTarget();
    }
    return path;
}

bool folderTakesNoFile(int error) {
    return error == EACCES || error == EPERM || error == EROFS;
}

bool folderKeepsFile(int error) {
    return folderTakesNoFile(error) || error == EBUSY || error == EXDEV;
}

bool leadsNowhere(int error) {
    return error == ENAMETOOLONG || error == ENOENT || error == ENOTDIR;
}

// Sees to it that `size` bytes find room, if the file system can tell.
bool reserveRoom(const FileHandle& file, off_t size) {
    return size == 0 || fallocate(file.get(), FALLOC_FL_KEEP_SIZE, 0, size) == 0 || errno == EOPNOTSUPP ||
           errno == ENOSYS;
}

bool copyWhole(const FileHandle& from, const FileHandle& to, off_t size) {
    off_t at = 0;
    while (at < size) {
        const ssize_t copied = sendfile(to.get(), from.get(), &at, static_cast<std::size_t>(size - at));
        if (copied <= 0 && !(copied < 0 && errno == EINTR)) {
            return false;
        }
    }
    return true;
}

/// A content on its way to its place.
class PendingFile {
  public:
    PendingFile() = default;
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    ReplaceResult write(const QString& path, const ContentWriter& writeContent, FileAccess access);
    ReplaceResult commit();

  private:
    bool openContent();
    ReplaceResult writeOver();
    [[nodiscard]] mode_t mode() const { return isOld_ && !access_.isKey ? old_.st_mode & 07777 : access_.newMode; }
    [[nodiscard]] bool force(const FileHandle& file) const { return !access_.isKey || fsync(file.get()) == 0; }

    QByteArray target_;
    struct stat old_ {};
    bool isOld_ = false;
    AccessRow access_{};
    FileHandle content_;    ///< closed for a pipe or device, which has the content at once
    QByteArray temporary_;  ///< the name of the content's file; empty if it is in memory
};

PendingFile::~PendingFile() {
    if (!temporary_.isEmpty()) {
        unlink(temporary_.constData());
    }
}

bool PendingFile::openContent() {
    temporary_ = target_.left(target_.lastIndexOf('/') + 1) + ".XXXXXX";
    content_ = FileHandle(mkostemp(temporary_.data(), O_CLOEXEC));
    if (!content_.isOpen()) {
        temporary_.clear();
        if (isOld_ && folderTakesNoFile(errno) && (access_.isKey || access(target_.constData(), W_OK) == 0)) {
            content_ = FileHandle(memfd_create("content", MFD_CLOEXEC));
        }
    }
    return content_.isOpen();
}

ReplaceResult PendingFile::write(const QString& path, const ContentWriter& writeContent, FileAccess access) {
    target_ = QFile::encodeName(path);
    access_ = rowOf(access);
    isOld_ = stat(target_.constData(), &old_) == 0;
    if (path.isEmpty() || (isOld_ && S_ISDIR(old_.st_mode))) {
        return ReplaceResult::cannotOpen;
    }
    if (isOld_ && !S_ISREG(old_.st_mode)) {
        FileHandle device(open(target_.constData(), O_WRONLY | O_CLOEXEC));
        if (!device.isOpen()) {
            return ReplaceResult::cannotOpen;
        }
        const bool written = writeContent([&device](QByteArrayView piece) { return device.write(piece); });
        return written && device.close() ? ReplaceResult::done : ReplaceResult::cannotWrite;
    }
    target_ = QFile::encodeName(behindLinks(path));  // a link stays one
    const bool isReadOnly = isOld_ && !access_.isKey && ::access(target_.constData(), W_OK) != 0;
    if (isReadOnly || !openContent()) {
        return ReplaceResult::cannotOpen;
    }
    const bool written = writeContent([this](QByteArrayView piece) { return content_.write(piece); }) &&
                         fchmod(content_.get(), mode()) == 0 && force(content_);
    return written ? ReplaceResult::done : ReplaceResult::cannotWrite;
}

ReplaceResult PendingFile::commit() {
    if (!content_.isOpen()) {
        return ReplaceResult::done;
    }
    if (temporary_.isEmpty()) {
        return writeOver();
    }
    // What closing tells has to be known before the old file goes.
    if (!FileHandle(dup(content_.get())).close()) {
        return ReplaceResult::cannotWrite;
    }
    if (std::rename(temporary_.constData(), target_.constData()) == 0) {
        temporary_.clear();
        return ReplaceResult::done;
    }
    if (isOld_ && folderKeepsFile(errno)) {
        return writeOver();
    }
    // A path that leads nowhere would not have been opened either.
    return leadsNowhere(errno) ? ReplaceResult::cannotOpen : ReplaceResult::cannotWrite;
}

ReplaceResult PendingFile::writeOver() {
    FileHandle file(open(target_.constData(), O_WRONLY | O_CLOEXEC));
    if (!file.isOpen() && access_.isKey && chmod(target_.constData(), (old_.st_mode & 07777) | S_IWUSR) == 0) {
        file = FileHandle(open(target_.constData(), O_WRONLY | O_CLOEXEC));
    }
    // A private key must not get into a file that others may go on reading.
    const bool isSecret = access_.isKey && (access_.newMode & 0077) == 0;
    if (!file.isOpen() || (access_.isKey && fchmod(file.get(), mode()) != 0 && isSecret)) {
        return ReplaceResult::cannotOpen;
    }
    const off_t size = lseek(content_.get(), 0, SEEK_END);
    const bool written = size >= 0 && reserveRoom(file, size) && copyWhole(content_, file, size) &&
                         ftruncate(file.get(), size) == 0 && force(file) && file.close();
    return written ? ReplaceResult::done : ReplaceResult::cannotWrite;
}

/// Where a file would come to stand that isn't there yet: its folder may be named in several ways.
QString placeOf(const QString& path) {
    const QFileInfo file(behindLinks(path));
    const QString folder = file.dir().canonicalPath();
    return (folder.isEmpty() ? file.absolutePath() : folder) + u'/' + file.fileName();
}

ContentWriter writerOf(QByteArrayView bytes) {
    return [bytes](const PieceWriter& write) { return write(bytes); };
}

bool report(const OutputFile& output, ReplaceResult result) {
    return reportReplacement(result, output.path, {"Failed to create output file %s", output.writeError});
}

}  // namespace

ReplaceResult replaceFileBy(const QString& path, const ContentWriter& writeContent, FileAccess access) {
    PendingFile file;
    const ReplaceResult result = file.write(path, writeContent, access);
    return result == ReplaceResult::done ? file.commit() : result;
}

ReplaceResult replaceFile(const QString& path, QByteArrayView bytes, FileAccess access) {
    return replaceFileBy(path, writerOf(bytes), access);
}

bool canReadBack(const QString& path) {
    struct stat status {};
    return stat(QFile::encodeName(path).constData(), &status) == 0 && S_ISREG(status.st_mode);
}

bool reportReplacement(ReplaceResult result, const QString& shown, const ReplaceErrors& errors) {
    if (result == ReplaceResult::done) {
        return true;
    }
    QByteArray text = result == ReplaceResult::cannotOpen ? errors.cannotOpen : errors.cannotWrite;
    const qsizetype place = text.indexOf("%s");
    if (place >= 0) {
        text.replace(place, 2, shown.toUtf8());
    }
    return reportError("%s", text.constData());
}

void warnOfOverwriting(const QString& path) {
    warnOfOverwriting(path, path);
}

void warnOfOverwriting(const QString& path, const QString& shown) {
    if (QFile::exists(path)) {
        displayMessage(MessageKind::warning, "The file %s already exists, it will be overwritten",
                       qUtf8Printable(shown));
    }
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
        warnOfOverwriting(output.path);
        if (!report(output, (file++)->write(output.path, writerOf(output.bytes), FileAccess::asUsual))) {
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
