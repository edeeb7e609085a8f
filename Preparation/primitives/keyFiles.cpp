#include "Preparation/primitives/keyFiles.h"

#include "files/wipe.h"

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr qsizetype maxKeyFileSize = qsizetype{1} << 20;

mode_t modeOf(KeyFileAccess access) {
    switch (access) {
        case KeyFileAccess::ownerReads:
            return S_IRUSR;
        case KeyFileAccess::ownerReadsAndWrites:
            return S_IRUSR | S_IWUSR;
        case KeyFileAccess::everybodyReads:
            break;
    }
    return S_IRUSR | S_IRGRP | S_IROTH;
}

class FileHandle {
  public:
    explicit FileHandle(int descriptor) : descriptor_(descriptor) {}
    ~FileHandle() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;

    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }
    [[nodiscard]] int get() const { return descriptor_; }

    [[nodiscard]] bool write(QByteArrayView bytes) const {
        while (!bytes.isEmpty()) {
            const ssize_t written = ::write(descriptor_, bytes.data(), static_cast<std::size_t>(bytes.size()));
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                return false;
            }
            bytes = bytes.sliced(written);
        }
        return true;
    }

    // Some file systems tell a failed write only here.
    [[nodiscard]] bool close() {
        const int descriptor = descriptor_;
        descriptor_ = -1;
        return ::close(descriptor) == 0;
    }

  private:
    int descriptor_;
};

ReplaceResult writeAndRename(FileHandle& file, const QByteArray& temporary, const QByteArray& target,
                             QByteArrayView bytes, mode_t mode) {
    const bool complete = file.write(bytes) && fchmod(file.get(), mode) == 0 && fsync(file.get()) == 0 && file.close();
    if (!complete) {
        unlink(temporary.constData());
        return ReplaceResult::cannotWrite;
    }
    if (std::rename(temporary.constData(), target.constData()) != 0) {
        unlink(temporary.constData());
        return ReplaceResult::cannotOpen;
    }
    return ReplaceResult::done;
}

ReplaceResult writeToDevice(const QByteArray& target, QByteArrayView bytes) {
    FileHandle file(open(target.constData(), O_WRONLY | O_CLOEXEC));
    if (!file.isOpen()) {
        return ReplaceResult::cannotOpen;
    }
    return file.write(bytes) && file.close() ? ReplaceResult::done : ReplaceResult::cannotWrite;
}

}  // namespace

bool readKeyFile(const QString& path, QByteArray& content) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return false;
    }
    // The room is taken once: an array that grows would leave its smaller selves behind.
    const qsizetype room = file.isSequential() ? maxKeyFileSize : qMin(maxKeyFileSize, file.size());
    QByteArray bytes(room, '\0');
    qsizetype used = 0;
    qint64 count = 1;
    while (count > 0 && used < room) {
        count = file.read(bytes.data() + used, room - used);
        used += qMax(count, qint64{0});
    }
    if (count < 0) {
        wipe(bytes);
        return false;
    }
    bytes.truncate(used);
    content = std::move(bytes);
    return true;
}

ReplaceResult replaceKeyFile(const QString& path, QByteArrayView bytes, KeyFileAccess access) {
    // QFileInfo is no judge here: it takes a pipe behind a link, such as /dev/stdout, for something that isn't there.
    QByteArray target = QFile::encodeName(path);
    struct stat old {};
    const bool exists = stat(target.constData(), &old) == 0;
    if (path.isEmpty() || (exists && S_ISDIR(old.st_mode))) {
        return ReplaceResult::cannotOpen;
    }
    if (exists && !S_ISREG(old.st_mode)) {
        return writeToDevice(target, bytes);
    }
    const QString behindLinks = exists ? QFileInfo(path).canonicalFilePath() : QString();
    if (!behindLinks.isEmpty()) {
        target = QFile::encodeName(behindLinks);
    }
    QByteArray temporary = target.left(target.lastIndexOf('/') + 1) + ".XXXXXX";
    FileHandle file(mkostemp(temporary.data(), O_CLOEXEC));
    // Never in place, not even in a folder that takes no new file: a write that fails halfway would cost the old key.
    return file.isOpen() ? writeAndRename(file, temporary, target, bytes, modeOf(access)) : ReplaceResult::cannotOpen;
}
