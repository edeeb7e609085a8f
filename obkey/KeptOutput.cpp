#include "obkey/KeptOutput.h"

#include "display/Display.h"

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace obkey {

namespace {

constexpr std::size_t pieceSize = std::size_t{64} << 10;

bool copyWhole(const FileHandle& from, const FileHandle& to) {
    char piece[pieceSize];
    ssize_t count = 0;
    do {
        count = from.read(piece, sizeof piece);
    } while (count > 0 && to.write(QByteArrayView(piece, count)));
    return count == 0;
}

bool toBegin(const FileHandle& file) {
    return lseek(file.get(), 0, SEEK_SET) == 0;
}

}  // namespace

KeptOutput::KeptOutput(const QString& path) {
    const QString existing = QFileInfo(path).canonicalFilePath();
    path_ = QFile::encodeName(existing.isEmpty() ? path : existing);
    isThere_ = stat(path_.constData(), &older_) == 0;
}

KeptOutput::~KeptOutput() {
    if (!copyName_.isEmpty()) {
        unlink(copyName_.constData());
    }
}

bool KeptOutput::keep() {
    if (!isThere_ || !S_ISREG(older_.st_mode)) {
        return true;
    }
    const FileHandle older(open(path_.constData(), O_RDONLY | O_CLOEXEC));
    if (older.isOpen() && copyBeside(older)) {
        return true;
    }
    copy_ = FileHandle(memfd_create("older", MFD_CLOEXEC));
    if (older.isOpen() && copy_.isOpen() && toBegin(older) && copyWhole(older, copy_)) {
        return true;
    }
    copy_ = FileHandle();
    return reportError("Fail to Generate Image: the older %s can't be kept", path_.constData());
}

bool KeptOutput::copyBeside(const FileHandle& older) {
    copyName_ = path_.left(path_.lastIndexOf('/') + 1) + ".older-XXXXXX";
    copy_ = FileHandle(mkostemp(copyName_.data(), O_CLOEXEC));
    if (!copy_.isOpen()) {
        copyName_.clear();
        return false;
    }
    const timespec times[] = {older_.st_atim, older_.st_mtim};
    const bool isOwners = fchown(copy_.get(), older_.st_uid, older_.st_gid) == 0 || older_.st_uid == geteuid();
    const bool isCopied = isOwners && copyWhole(older, copy_) && fchmod(copy_.get(), older_.st_mode & 07777) == 0 &&
                          futimens(copy_.get(), times) == 0;
    if (!isCopied) {
        unlink(copyName_.constData());
        copyName_.clear();
    }
    return isCopied;
}

bool KeptOutput::isUnchanged() const {
    const FileHandle now(open(path_.constData(), O_RDONLY | O_CLOEXEC));
    char was[pieceSize];
    char is[pieceSize];
    ssize_t count = 0;
    do {
        count = now.isOpen() ? now.read(is, sizeof is) : -1;
        if (count < 0 || copy_.read(was, sizeof was) != count ||
            std::memcmp(was, is, static_cast<std::size_t>(count)) != 0) {
            return false;
        }
    } while (count > 0);
    return true;
}

bool KeptOutput::writeOver() const {
    FileHandle file(open(path_.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, older_.st_mode & 07777));
    return file.isOpen() && copyWhole(copy_, file) && file.close();
}

void KeptOutput::putBack() {
    if (!copy_.isOpen() || (toBegin(copy_) && isUnchanged())) {
        return;
    }
    if (!copyName_.isEmpty() && std::rename(copyName_.constData(), path_.constData()) == 0) {
        copyName_.clear();
        return;
    }
    if (toBegin(copy_) && writeOver()) {
        return;
    }
    reportError("The older %s can't be put back. Its content is in %s", path_.constData(),
                copyName_.isEmpty() ? "no file" : copyName_.constData());
    copyName_.clear();
}

void KeptOutput::removeNew() const {
    struct stat now {};
    if (!isThere_ && stat(path_.constData(), &now) == 0 && S_ISREG(now.st_mode)) {
        unlink(QFile::encodeName(QFileInfo(QFile::decodeName(path_)).canonicalFilePath()).constData());
    }
}

}  // namespace obkey
