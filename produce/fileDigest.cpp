#include "produce/fileDigest.h"

#include "Preparation/primitives/Sha256.h"
#include "files/FileHandle.h"
#include "files/wipe.h"

#include <QFile>

#include <algorithm>

#include <fcntl.h>

namespace produce {

namespace {

constexpr qint64 leastPiece = 512;
constexpr qint64 pieceSize = 128 << 10;
// More entries than a run has common inputs. Without a limit, inputs that differ from device to device would fill the
// memory.
constexpr qsizetype mostEntries = 1024;

bool isSame(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec &&
           a.st_ctim.tv_sec == b.st_ctim.tv_sec && a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
}

}  // namespace

bool digestFile(const QString& path, FileDigest& digest) {
    const FileHandle file(open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    Sha256 hash;
    if (!file.isOpen() || fstat(file.get(), &status) != 0 || !hash.start()) {
        return false;
    }
    // A small file gets a small piece, because the whole piece is wiped. One byte more detects the end of the file.
    QByteArray piece(std::clamp<qint64>(status.st_size + 1, leastPiece, pieceSize), Qt::Uninitialized);
    const WipeOnExit wipe(piece);
    qint64 size = 0;
    ssize_t count = 0;
    while ((count = file.read(piece.data(), static_cast<std::size_t>(piece.size()))) > 0) {
        if (!hash.update(QByteArrayView(piece.constData(), count))) {
            return false;
        }
        size += count;
    }
    Sha256Digest result{};
    if (count < 0 || !hash.finish(result)) {
        return false;
    }
    digest.path = path;
    digest.size = size;
    digest.sha256 = QByteArray(result.data(), static_cast<qsizetype>(result.size()));
    return true;
}

bool DigestCache::digest(const QString& path, FileDigest& digest) {
    struct stat status {};
    if (stat(QFile::encodeName(path).constData(), &status) != 0) {
        return false;
    }
    const auto known = entries_.constFind(path);
    if (known != entries_.constEnd() && isSame(known->status, status)) {
        digest.path = path;
        digest.size = known->size;
        digest.sha256 = known->sha256;
        return true;
    }
    if (!digestFile(path, digest)) {
        return false;
    }
    if (entries_.size() >= mostEntries) {
        entries_.clear();
    }
    entries_.insert(path, {status, digest.size, digest.sha256});
    return true;
}

bool DigestCache::isUnchanged(const QString& path) const {
    const auto known = entries_.constFind(path);
    struct stat status {};
    return known != entries_.constEnd() && stat(QFile::encodeName(path).constData(), &status) == 0 &&
           isSame(known->status, status);
}

}  // namespace produce
