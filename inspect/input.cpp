#include "inspect/input.h"

#include "files/largePages.h"
#include "files/readExactly.h"

#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

#include <algorithm>

namespace inspect {

namespace {

constexpr qsizetype keySize = 16;

// Unbuffered, so that no second copy of a key stays behind.
bool openInput(const QString& path, QFile& file, QString& fault) {
    const bool isOpen = path == QLatin1String("-") ? file.open(0, QIODevice::ReadOnly | QIODevice::Unbuffered)
                                                   : file.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    if (!isOpen) {
        fault = file.errorString();
    }
    return isOpen;
}

// One read into memory of the right size where the size is known.
bool readRegular(QFile& file, QByteArray& bytes) {
    const qint64 size = file.size();
    if (!canAllocate(size)) {
        return false;
    }
    QByteArray content(size, Qt::Uninitialized);
    preferLargePages(content);
    if (file.read(content.data(), size) != size) {
        return false;
    }
    bytes = std::move(content);
    return true;
}

// Never more than `limit` bytes: a wrong path can be a whole firmware, or a device without an end. No copy of what was
// read stays behind.
bool readSecret(const QString& path, qsizetype limit, QByteArray& secret, QString& fault, QString& warning) {
    QFile file(path);
    if (!openInput(path, file, fault)) {
        return false;
    }
    QByteArray content(limit, '\0');
    qsizetype got = 0;
    qint64 piece = 1;
    while (piece > 0 && got < limit) {
        piece = file.read(content.data() + got, limit - got);
        got += std::max<qint64>(piece, 0);
    }
    content.truncate(got);
    secret = std::move(content);
    struct stat status = {};
    if (fstat(file.handle(), &status) == 0 && S_ISREG(status.st_mode) && (status.st_mode & S_IROTH) != 0) {
        warning = QStringLiteral("the key file may be read by everybody");
    }
    return true;
}

}  // namespace

bool readInput(const QString& path, QByteArray& bytes, QString& fault) {
    QFile file(path);
    if (!openInput(path, file, fault)) {
        return false;
    }
    const bool isRegular = !file.isSequential() && QFileInfo(path).isFile();
    const bool isRead = isRegular ? readRegular(file, bytes) : readUpTo(file, maxInputPipe, bytes);
    if (!isRead) {
        fault = isRegular ? QStringLiteral("not readable to its end, or larger than the memory")
                          : QStringLiteral("not readable to its end, or more than 256 MiB from a pipe");
    }
    return isRead;
}

bool readKey(const QString& path, QByteArray& key, QString& fault, QString& warning) {
    // One byte more than a key has, to see that there is none.
    QByteArray content;
    const WipeOnExit wiped(content);
    if (!readSecret(path, keySize + 1, content, fault, warning)) {
        return false;
    }
    if (content.size() != keySize) {
        const bool isLonger = content.size() > keySize;
        const bool endsInLineFeed = isLonger && content.at(keySize) == '\n';
        fault = isLonger ? QStringLiteral("a key has 16 bytes; there are more%1")
                               .arg(endsInLineFeed ? QStringLiteral(", the 17th a line feed") : QString())
                         : QStringLiteral("a key has 16 bytes, not %1").arg(content.size());
        return false;
    }
    key = std::move(content);
    return true;
}

bool readKeyFile(const QString& path, QByteArray& key, QString& fault, QString& warning) {
    constexpr qsizetype limit = 1 << 16;
    QByteArray content;
    const WipeOnExit wiped(content);
    if (!readSecret(path, limit, content, fault, warning)) {
        return false;
    }
    if (content.isEmpty() || content.size() == limit) {
        fault = QStringLiteral("no key file: it has %1")
                    .arg(content.isEmpty() ? QStringLiteral("no bytes") : QStringLiteral("64 KiB and more"));
        return false;
    }
    key = std::move(content);
    return true;
}

}  // namespace inspect
