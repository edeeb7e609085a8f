#include "produce/LineFolders.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace produce {

namespace {

constexpr int mostVoidNames = 10000;

QString systemReason() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

bool refuse(QString& fault, const QString& text) {
    fault = text;
    return false;
}

/// Renames a folder. The result is false, with `errno` EEXIST or ENOTEMPTY, if there is a file or folder at `to`.
bool rename(const QString& from, const QString& to) {
    return renameat2(AT_FDCWD, QFile::encodeName(from).constData(), AT_FDCWD, QFile::encodeName(to).constData(),
                     RENAME_NOREPLACE) == 0;
}

bool exists(const QString& path) {
    struct stat status {};
    return lstat(QFile::encodeName(path).constData(), &status) == 0;
}

}  // namespace

bool LineFolders::open(const QString& out, const QString& station, QString& fault) {
    out_ = QDir::cleanPath(QFileInfo(out).absoluteFilePath());
    station_ = out_ + QStringLiteral("/.qvora/") + station;
    for (const QString& path : {station_ + QStringLiteral("/making"), out_ + QStringLiteral("/void")}) {
        if (!QDir().mkpath(path)) {
            return refuse(fault, QStringLiteral("the folder %1 can't be made").arg(path));
        }
    }
    folder_ = FileHandle(::open(QFile::encodeName(out_).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder_.isOpen() ||
           refuse(fault, QStringLiteral("the folder %1 can't be read: %2").arg(out_, systemReason()));
}

QString LineFolders::makingPath(const QString& serial) const {
    return station_ + QStringLiteral("/making/") + serial;
}

QString LineFolders::devicePath(const QString& serial) const {
    return out_ + u'/' + serial;
}

bool LineFolders::publish(const ledger::Attempt& attempt, QString& fault) const {
    const QString from = makingPath(attempt.serial);
    const QString to = devicePath(attempt.serial);
    if (rename(from, to)) {
        return true;
    }
    if (errno != EEXIST && errno != ENOTEMPTY) {
        return refuse(fault, QStringLiteral("%1 can't be moved to %2: %3").arg(from, to, systemReason()));
    }
    ledger::Attempt before = attempt;
    before.number -= 1;
    return moveToVoid(to, before, fault) &&
           (rename(from, to) ||
            refuse(fault, QStringLiteral("%1 can't be moved to %2: %3").arg(from, to, systemReason())));
}

bool LineFolders::discard(const ledger::Attempt& attempt, bool isPublished, QString& fault) const {
    return moveToVoid(makingPath(attempt.serial), attempt, fault) &&
           (!isPublished || moveToVoid(devicePath(attempt.serial), attempt, fault));
}

bool LineFolders::moveToVoid(const QString& path, const ledger::Attempt& attempt, QString& fault) const {
    if (!exists(path)) {
        return true;
    }
    const QString name = QStringLiteral("%1/void/%2-%3").arg(out_, attempt.serial).arg(attempt.number);
    for (int i = 1; i <= mostVoidNames; ++i) {
        const QString to = i == 1 ? name : name + QStringLiteral(".%1").arg(i);
        if (rename(path, to)) {
            return true;
        }
        if (errno != EEXIST && errno != ENOTEMPTY) {
            return refuse(fault, QStringLiteral("%1 can't be moved to %2: %3").arg(path, to, systemReason()));
        }
    }
    return refuse(fault, QStringLiteral("%1 can't be moved: there are too many files like %2").arg(path, name));
}

bool LineFolders::flush(QString& fault) const {
    return syncfs(folder_.get()) == 0 ||
           refuse(fault, QStringLiteral("%1 can't be flushed: %2").arg(out_, systemReason()));
}

}  // namespace produce
