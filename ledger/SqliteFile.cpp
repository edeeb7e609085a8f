#include "ledger/SqliteFile.h"

#include "Preparation/primitives/Sha256.h"
#include "ledger/faults.h"
#include "ledger/schema.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QMutexLocker>
#include <QtEndian>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace ledger {
namespace {

// The header of an SQLite file: https://www.sqlite.org/fileformat.html, section 1.3.
constexpr qsizetype headerSize = 100;
constexpr char magic[] = "SQLite format 3";  // with its NUL
constexpr qsizetype userVersionAt = 60;
constexpr qsizetype applicationIdAt = 68;

using FileId = std::pair<dev_t, ino_t>;

struct Users {
    int count = 0;
    QList<int> descriptors;
};

QMutex& usersMutex() {
    static QMutex mutex;
    return mutex;
}

QHash<FileId, Users>& usersOf() {
    static QHash<FileId, Users> users;
    return users;
}

QString systemError() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

QByteArray readHeader(int descriptor) {
    QByteArray header(headerSize, '\0');
    qsizetype size = 0;
    while (size < headerSize) {
        const ssize_t got = pread(descriptor, header.data() + size, static_cast<std::size_t>(headerSize - size), size);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        size += got;
    }
    header.truncate(size);
    return header;
}

bool checkHeader(const QString& path, const QByteArray& header, Fault& fault) {
    if (header.isEmpty()) {
        return refused(QStringLiteral("%1 is empty, so it isn't a ledger").arg(path), fault);
    }
    if (header.size() < headerSize || !header.startsWith(QByteArrayView(magic, sizeof magic))) {
        return refused(QStringLiteral("%1 isn't an SQLite file, so it isn't a ledger").arg(path), fault);
    }
    const auto id = qFromBigEndian<std::uint32_t>(header.constData() + applicationIdAt);
    if (id != applicationId) {
        return refused(QStringLiteral("%1 is an SQLite file of another application (0x%2), not a ledger")
                           .arg(path, QString::number(id, 16)),
                       fault);
    }
    const auto version = qFromBigEndian<std::uint32_t>(header.constData() + userVersionAt);
    if (version > schemaVersion) {
        return refused(QStringLiteral("%1 has the schema version %2; this program knows versions up to %3")
                           .arg(path, QString::number(version), QString::number(schemaVersion)),
                       fault);
    }
    return true;
}

QString mountTypeOf(dev_t device) {
    QFile file(QStringLiteral("/proc/self/mountinfo"));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray wanted = QByteArray::number(major(device)) + ':' + QByteArray::number(minor(device));
    for (const QByteArray& line : file.readAll().split('\n')) {
        // A line is "36 35 98:0 /root /mount options optional... - type source options".
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype dash = fields.indexOf("-");
        if (fields.size() > 2 && fields.at(2) == wanted && dash >= 0 && dash + 1 < fields.size()) {
            return QString::fromLatin1(fields.at(dash + 1));
        }
    }
    return {};
}

struct NetworkType {
    std::uint64_t type;
    const char* name;
};
constexpr std::array networkTypes = {
    NetworkType{0x6969, "NFS"},       NetworkType{0x517B, "SMB"},        NetworkType{0xFE534D42, "SMB"},
    NetworkType{0xFF534D42, "CIFS"},  NetworkType{0x00C36400, "Ceph"},   NetworkType{0x01021997, "9P"},
    NetworkType{0x5346414F, "AFS"},   NetworkType{0x0BD00BD0, "Lustre"}, NetworkType{0x01161970, "GFS2"},
    NetworkType{0x7461636F, "OCFS2"},
};
constexpr std::uint64_t fuseType = 0x65735546;

}  // namespace

QString networkFileSystem(std::uint64_t type, const QString& mountType) {
    for (const NetworkType& row : networkTypes) {
        if (row.type == type) {
            return QString::fromLatin1(row.name);
        }
    }
    // A "fuseblk" file system is on a disk of this machine. Other FUSE file systems may be anywhere.
    if (type == fuseType && mountType != QLatin1String("fuseblk")) {
        return mountType.isEmpty() ? QStringLiteral("FUSE") : mountType;
    }
    return {};
}

bool checkFileSystem(const QString& path, Fault& fault) {
    const QByteArray name = QFile::encodeName(path);
    struct statfs system {};
    struct stat status {};
    if (statfs(name.constData(), &system) != 0 || stat(name.constData(), &status) != 0) {
        return failed(QStringLiteral("cannot read the file system of %1: %2").arg(path, systemError()), fault);
    }
    const auto type = static_cast<std::uint64_t>(static_cast<std::uint32_t>(system.f_type));
    const QString network = networkFileSystem(type, type == fuseType ? mountTypeOf(status.st_dev) : QString());
    if (!network.isEmpty()) {
        return refused(
            QStringLiteral("%1 is on a network file system (%2), where SQLite could lose commits; use a local "
                           "disk, or PostgreSQL")
                .arg(path, network),
            fault);
    }
    return true;
}

SqliteFile::~SqliteFile() {
    if (lock_ >= 0) {
        // Children of a fork share the lock, so closing alone may not release it.
        struct flock whole {};
        whole.l_type = F_UNLCK;
        whole.l_whence = SEEK_SET;
        fcntl(lock_, F_OFD_SETLK, &whole);
        close(lock_);
    }
    if (!isCounted_) {
        return;
    }
    const QMutexLocker<QMutex> locker(&usersMutex());
    Users& users = usersOf()[{device_, inode_}];
    if (--users.count == 0) {
        for (const int descriptor : users.descriptors) {
            close(descriptor);
        }
        usersOf().remove({device_, inode_});
    }
}

bool SqliteFile::look(const QString& path, Fault& fault) {
    path_ = path;
    const QMutexLocker<QMutex> locker(&usersMutex());
    struct stat status {};
    const QByteArray name = QFile::encodeName(path);
    // Only a regular file is opened: to open a FIFO or a device has effects.
    if (stat(name.constData(), &status) != 0) {
        return errno == ENOENT
                   ? failed(QStringLiteral("there is no ledger %1").arg(path), fault)
                   : failed(QStringLiteral("cannot open the ledger %1: %2").arg(path, systemError()), fault);
    }
    if (!S_ISREG(status.st_mode)) {
        return refused(QStringLiteral("%1 isn't a regular file, so it isn't a ledger").arg(path), fault);
    }
    const int descriptor = open(name.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0 || fstat(descriptor, &status) != 0) {
        const QString reason = systemError();
        if (descriptor >= 0) {
            close(descriptor);
        }
        return failed(QStringLiteral("cannot open the ledger %1: %2").arg(path, reason), fault);
    }
    device_ = status.st_dev;
    inode_ = status.st_ino;
    Users& users = usersOf()[{device_, inode_}];
    ++users.count;
    users.descriptors += descriptor;
    isCounted_ = true;
    return checkHeader(path, readHeader(descriptor), fault) && checkFileSystem(path, fault);
}

bool SqliteFile::lockStation(const QString& station, Fault& fault) {
    // All names that lead to the ledger share one lock file.
    const QString path = QFileInfo(path_).canonicalFilePath() + QStringLiteral("-lock");
    lock_ = open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0660);
    if (lock_ < 0) {
        return failed(QStringLiteral("cannot open %1: %2").arg(path, systemError()), fault);
    }
    Sha256Digest digest{};
    if (!sha256({station.toUtf8()}, digest)) {
        return failed(QStringLiteral("SHA-256 isn't available"), fault);
    }
    // Each station locks one byte of the lock file, at an offset below 2^62.
    struct flock one {};
    one.l_type = F_WRLCK;
    one.l_whence = SEEK_SET;
    one.l_start = static_cast<off_t>(qFromBigEndian<std::uint64_t>(digest.data()) >> 2);
    one.l_len = 1;
    if (fcntl(lock_, F_OFD_SETLK, &one) == 0) {
        return true;
    }
    if (errno == EAGAIN || errno == EACCES) {
        return refused(QStringLiteral("the station %1 is in use by another process").arg(station), fault);
    }
    return failed(QStringLiteral("cannot lock %1: %2").arg(path, systemError()), fault);
}

bool SqliteFile::isInPlace() const {
    struct stat status {};
    return stat(QFile::encodeName(path_).constData(), &status) == 0 && status.st_dev == device_ &&
           status.st_ino == inode_;
}

}  // namespace ledger
