#include "produce/inputFault.h"

#include "Preparation/primitives/Sha256.h"
#include "files/FileHandle.h"
#include "files/wipe.h"

#include <QByteArray>
#include <QFile>

#include <algorithm>
#include <array>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

namespace produce {

namespace {

constexpr qsizetype longestKey = 64;

/// SHA-256 of the keys in examples/, except those whose bytes count up or down. The test of this table reads that
/// folder.
constexpr std::array exampleKeys = {
    "7e645f1de9e40d24736f7ec32005b2c62e000ad3d1b253b2c6548944a3fc0fd8",
    "7208d4d011681bd4e77941f2ed5fdcbce097e9a23d8c41a6888809441646e9f3",
};

bool isCounting(QByteArrayView key, int step) {
    for (qsizetype i = 1; i < key.size(); ++i) {
        if (static_cast<unsigned char>(key.at(i)) != static_cast<unsigned char>(key.at(i - 1) + step)) {
            return false;
        }
    }
    return true;
}

QString systemFault(const QString& path, int number) {
    return number == ENOENT
               ? QStringLiteral("There is no file “%1”.").arg(path)
               : QStringLiteral("“%1” can't be read: %2.").arg(path, QString::fromLocal8Bit(std::strerror(number)));
}

/// Whether the file has a development key. A larger file isn't a symmetric key.
bool hasDevelopmentKey(const FileHandle& file, qint64 size) {
    if (size > longestKey) {
        return false;
    }
    QByteArray key(size, '\0');
    const WipeOnExit wiped(key);
    return file.read(key.data(), static_cast<std::size_t>(size)) == size && isDevelopmentKey(key);
}

}  // namespace

bool isDevelopmentKey(QByteArrayView key) {
    if (key.isEmpty()) {
        return false;
    }
    if (isCounting(key, 0) || isCounting(key, 1) || isCounting(key, -1)) {
        return true;
    }
    Sha256Digest digest;
    if (!sha256({key}, digest)) {
        return false;
    }
    const QByteArray text = QByteArray(digest.data(), static_cast<qsizetype>(digest.size())).toHex();
    return std::any_of(exampleKeys.begin(), exampleKeys.end(), [&text](const char* known) { return text == known; });
}

QString inputFault(const QString& path, bool isSecret, bool isSymmetricKey) {
    struct stat found {};
    const QByteArray name = QFile::encodeName(path);
    if (::stat(name.constData(), &found) != 0) {
        return systemFault(path, errno);
    }
    if (S_ISFIFO(found.st_mode)) {
        return {};
    }
    if (!S_ISREG(found.st_mode)) {
        return QStringLiteral("“%1” isn't a file.").arg(path);
    }
    constexpr mode_t others = S_IRWXG | S_IRWXO;
    if (isSecret && (found.st_mode & others) != 0) {
        return QStringLiteral(
                   "“%1” is secret, and users other than its owner have rights to it; chmod 600 removes them.")
            .arg(path);
    }
    if (!isSymmetricKey) {
        return ::access(name.constData(), R_OK) == 0 ? QString() : systemFault(path, errno);
    }
    const FileHandle file(::open(name.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen()) {
        return systemFault(path, errno);
    }
    return hasDevelopmentKey(file, found.st_size)
               ? QStringLiteral(
                     "“%1” has a development key, which others know; allowDevelopmentKeys in the job allows "
                     "it for trials.")
                     .arg(path)
               : QString();
}

}  // namespace produce
