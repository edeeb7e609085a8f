#include "files/outputFile.h"

#include "display/Display.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <optional>
#include <vector>

// New content is first written to a new file in the folder of the old file. Then the new file replaces the old one. If
// the old file were overwritten directly, a failure could destroy it and leave an incomplete file in its place.
//
// Not every folder allows this: it may be read-only, it may let only a file's owner replace the file, or the file may
// be a mount point. Then the old file is overwritten in place. Before that, the whole new content is written to the new
// file (in memory, if the folder accepts no file), and room for it is reserved.
//
// Files that belong together are committed in two steps. First each new file replaces the old one by a rename, or room
// for it is reserved in the old file. The rename swaps old and new, so that it can be undone after a failure. (Some
// file systems can't swap two files. There, a replaced file can't be restored.) Then the remaining old files are
// overwritten, which only a broken disk can prevent. A lock keeps the renames of two runs from overlapping.
//
// System calls are used directly: a library's buffer would keep a copy of a secret. Also, the library treats a pipe at
// the end of a link, such as /dev/stdout, as a missing file.

namespace {

mode_t usualMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

/// The path at the end of all links, even if no file exists there.
QString linkTarget(QString path) {
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

// Reserves room for `size` bytes. Succeeds on a file system that can't reserve room.
bool reserveRoom(const FileHandle& file, off_t size) {
    int failed = 0;
    do {
        failed = size == 0 ? 0 : fallocate(file.get(), FALLOC_FL_KEEP_SIZE, 0, size);
    } while (failed != 0 && errno == EINTR);
    return failed == 0 || errno == EOPNOTSUPP || errno == ENOSYS;
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

/// A lock between runs that replace several files in one folder. A run that doesn't get the lock within five seconds
/// continues without it: not every file system has locks, and the process that started this run may hold the lock of
/// the folder.
class FolderLock {
  public:
    explicit FolderLock(const QByteArray& folder)
        : folder_(open(folder.isEmpty() ? "." : folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        constexpr int mostTries = 500;
        constexpr timespec pause{0, 10'000'000};
        for (int i = 0; i < mostTries && flock(folder_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK; ++i) {
            nanosleep(&pause, nullptr);
        }
    }

  private:
    FileHandle folder_;  ///< closing it releases the lock
};

QByteArray folderOf(const QByteArray& path) {
    return path.left(path.lastIndexOf('/') + 1);
}

/// The path at which a file that doesn't exist yet would be created, with a canonical folder, because a folder can have
/// several names.
QString placeOf(const QString& path) {
    const QFileInfo file(linkTarget(path));
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

PendingFile::AccessRow PendingFile::rowOf(FileAccess access) {
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

bool PendingFile::makeContent() {
    content_ = hidden_.create(folderOf(target_));
    if (!content_.isOpen() && isOld_ && folderTakesNoFile(errno) &&
        (access_.isKey || access(target_.constData(), W_OK) == 0)) {
        content_ = FileHandle(memfd_create("content", MFD_CLOEXEC));
    }
    return content_.isOpen();
}

ReplaceResult PendingFile::write(const QString& path, const ContentWriter& writeContent, FileAccess access) {
    target_ = QFile::encodeName(path);
    access_ = rowOf(access);
    isOld_ = stat(target_.constData(), &old_) == 0;
    // If stat fails for a reason other than a missing file, a file may exist. Replacing it could change who may read
    // it.
    const bool isFree = !isOld_ && (errno == ENOENT || errno == ENOTDIR);
    if (path.isEmpty() || (!isOld_ && !isFree) || (isOld_ && S_ISDIR(old_.st_mode))) {
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
    target_ = QFile::encodeName(linkTarget(path));  // the file that a link leads to is replaced, not the link
    const bool isReadOnly = isOld_ && !access_.isKey && ::access(target_.constData(), W_OK) != 0;
    if (isReadOnly || !makeContent()) {
        return ReplaceResult::cannotOpen;
    }
    const bool written = writeContent([this](QByteArrayView piece) { return content_.write(piece); }) &&
                         fchmod(content_.get(), mode()) == 0 && flush(content_);
    return written ? ReplaceResult::done : ReplaceResult::cannotWrite;
}

// Flushes a key file, or a file that replaces an older one, to the disk. Without this, a power cut could destroy the
// key or lose both the old and the new content. Any other new file isn't flushed, because that would take longer than
// the rest of a run.
bool PendingFile::flush(const FileHandle& file) const {
    return access_.isKey ? fsync(file.get()) == 0 : !isOld_ || fdatasync(file.get()) == 0;
}

bool PendingFile::openContent(QFile& device) const {
    FileHandle copy(dup(content_.get()));
    return copy.isOpen() && lseek(copy.get(), 0, SEEK_SET) == 0 &&
           device.open(copy.release(), QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
}

// On failure the result is false and errno contains the reason.
bool PendingFile::rename(bool revocably) {
    if (revocably && renameat2(AT_FDCWD, hidden_.name(), AT_FDCWD, target_.constData(), RENAME_EXCHANGE) == 0) {
        place_ = Place::swapped;
        return true;
    }
    // A plain rename, for one of three reasons: it needn't be undone, there is no old file, or the file system can't
    // swap two files.
    if (std::rename(hidden_.name(), target_.constData()) != 0) {
        return false;
    }
    hidden_.release();
    place_ = Place::taken;
    return true;
}

ReplaceResult PendingFile::takePlace(bool revocably) {
    if (!isHeld()) {
        return ReplaceResult::done;
    }
    if (!hidden_.exists()) {
        return openOld();
    }
    // Closing may report a failed write, so a copy of the descriptor is closed before the old file is replaced.
    FileHandle copy(dup(content_.get()));
    if (!copy.isOpen() || !copy.close()) {
        return ReplaceResult::cannotWrite;
    }
    if (rename(revocably)) {
        return ReplaceResult::done;
    }
    if (isOld_ && folderKeepsFile(errno)) {
        return openOld();
    }
    // If no file can exist at the path, the result is the same as for a file that can't be opened.
    return leadsNowhere(errno) ? ReplaceResult::cannotOpen : ReplaceResult::cannotWrite;
}

ReplaceResult PendingFile::openOld() {
    FileHandle file(open(target_.constData(), O_WRONLY | O_CLOEXEC));
    if (!file.isOpen() && access_.isKey && chmod(target_.constData(), (old_.st_mode & 07777) | S_IWUSR) == 0) {
        file = FileHandle(open(target_.constData(), O_WRONLY | O_CLOEXEC));
    }
    // A private key must not be written to a file that others can still read.
    const bool isSecret = access_.isKey && (access_.newMode & 0077) == 0;
    if (!file.isOpen() || (access_.isKey && fchmod(file.get(), mode()) != 0 && isSecret)) {
        return ReplaceResult::cannotOpen;
    }
    over_ = std::move(file);
    const off_t size = lseek(content_.get(), 0, SEEK_END);
    return size >= 0 && reserveRoom(over_, size) ? ReplaceResult::done : ReplaceResult::cannotWrite;
}

ReplaceResult PendingFile::writeOver() {
    if (!over_.isOpen()) {
        return ReplaceResult::done;
    }
    FileHandle file = std::move(over_);
    const off_t size = lseek(content_.get(), 0, SEEK_END);
    const bool written =
        size >= 0 && copyWhole(content_, file, size) && ftruncate(file.get(), size) == 0 && flush(file) && file.close();
    return written ? ReplaceResult::done : ReplaceResult::cannotWrite;
}

void PendingFile::revoke() {
    if (place_ == Place::swapped) {
        static_cast<void>(renameat2(AT_FDCWD, hidden_.name(), AT_FDCWD, target_.constData(), RENAME_EXCHANGE));
    } else if (place_ == Place::taken && !isOld_) {
        unlink(target_.constData());
    }
    if (over_.isOpen()) {
        [[maybe_unused]] const int result = ftruncate(over_.get(), old_.st_size);  // releases the reserved room
    }
}

ReplaceResult PendingFile::commit() {
    std::size_t at = 0;
    return commitAll({this, 1}, at);
}

ReplaceResult PendingFile::commitAll(std::span<PendingFile> files, std::size_t& at) {
    const bool areSeveral = files.size() > 1;
    std::optional<FolderLock> lock;
    if (areSeveral) {
        lock.emplace(folderOf(files.front().target_));
    }
    const EndingSignalsHeld held;
    const auto step = [&](auto&& onFile) {
        for (at = 0; at < files.size(); ++at) {
            const ReplaceResult result = onFile(files[at]);
            if (result != ReplaceResult::done) {
                return result;
            }
        }
        return ReplaceResult::done;
    };
    ReplaceResult result = step([&](PendingFile& file) { return file.takePlace(areSeveral); });
    if (result == ReplaceResult::done) {
        result = step([](PendingFile& file) { return file.writeOver(); });
    }
    if (result != ReplaceResult::done) {
        std::for_each(files.begin(), files.end(), [](PendingFile& file) { file.revoke(); });
    }
    return result;
}

ReplaceResult replaceFiles(std::initializer_list<NewContent> contents) {
    std::vector<PendingFile> files(contents.size());
    auto file = files.begin();
    for (const NewContent& content : contents) {
        const ReplaceResult result = (file++)->write(content.path, writerOf(content.bytes));
        if (result != ReplaceResult::done) {
            return result;
        }
    }
    std::size_t at = 0;
    return PendingFile::commitAll(files, at);
}

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

bool writePendingOutput(const OutputFile& output, PendingFile& file) {
    warnOfOverwriting(output.path);
    return report(output, file.write(output.path, writerOf(output.bytes)));
}

bool commitPendingOutput(const OutputFile& output, PendingFile& file) {
    return report(output, file.commit());
}

bool writeOutputFiles(std::initializer_list<OutputFile> outputs) {
    std::vector<PendingFile> files(outputs.size());
    auto file = files.begin();
    for (const OutputFile& output : outputs) {
        if (!writePendingOutput(output, *file++)) {
            return false;
        }
    }
    std::size_t at = 0;
    const ReplaceResult result = PendingFile::commitAll(files, at);
    return result == ReplaceResult::done || report(outputs.begin()[at], result);
}

bool writeOutputFile(const QString& path, QByteArrayView bytes, const char* writeError) {
    return writeOutputFiles({{path, bytes, writeError}});
}
