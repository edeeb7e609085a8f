#include "inspect/input.h"

#include "files/largePages.h"
#include "files/readExactly.h"
#include "files/readWhole.h"

#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

#include <algorithm>

namespace inspect {

namespace {

constexpr qsizetype keySize = 16;

// Opens the file unbuffered, so that no second copy of a key remains in memory.
bool openInput(const QString& path, QFile& file, QString& fault) {
    const bool isOpen = path == QLatin1String("-") ? file.open(0, QIODevice::ReadOnly | QIODevice::Unbuffered)
                                                   : file.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    if (!isOpen) {
        fault = file.errorString();
    }
    return isOpen;
}

// Reads a file of known size with one read into memory of that size.
bool readRegular(QFile& file, QByteArray& bytes, QString& fault) {
    const qint64 size = file.size();
    if (!canAllocate(size)) {
        fault = QStringLiteral("larger than the memory");
        return false;
    }
    QByteArray content(size, Qt::Uninitialized);
    preferLargePages(content);
    char more = 0;
    if (file.read(content.data(), size) != size) {
        const bool isFaulty = file.read(&more, 1) < 0;
        fault = isFaulty ? file.errorString() : QStringLiteral("it became shorter while it was read");
        return false;
    }
    bytes = std::move(content);
    return true;
}

// Reads a file whose content the system generates during the read, such as one in /proc. Its size is reported as 0.
bool readUnsized(QFile& file, QByteArray& bytes, QString& fault) {
    QByteArray content;
    QByteArray piece(4096, '\0');
    qint64 got = 1;
    while (got > 0 && content.size() < maxInputPipe) {
        got = file.read(piece.data(), piece.size());
        content.append(piece.constData(), std::max<qint64>(got, 0));
    }
    if (got < 0) {
        fault = file.errorString();
        return false;
    }
    bytes = std::move(content);
    return true;
}

bool readPipe(QFile& file, QByteArray& bytes, QString& fault) {
    switch (readWhole(file, maxInputPipe, bytes)) {
        case WholeStatus::done:
            return true;
        case WholeStatus::tooLong:
            fault = QStringLiteral("more than 256 MiB from a pipe");
            break;
        case WholeStatus::noMemory:
            fault = QStringLiteral("larger than the memory");
            break;
        case WholeStatus::failed:
            fault =
                file.error() != QFileDevice::NoError ? file.errorString() : QStringLiteral("not readable to its end");
            break;
    }
    return false;
}

// Reads at most `limit` bytes, because a wrong path may name a large firmware or an endless device. No copy of the
// bytes remains in memory.
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
    if (piece < 0) {
        wipe(content);
        fault = file.errorString();
        return false;
    }
    content.truncate(got);
    secret = std::move(content);
    struct stat status = {};
    const bool isFile = fstat(file.handle(), &status) == 0 && S_ISREG(status.st_mode);
    const bool hasName = status.st_nlink > 0;  // others can't open a file in memory
    if (isFile && hasName && (status.st_mode & S_IROTH) != 0) {
        warning = QStringLiteral("every user can read the key file");
    }
    return true;
}

}  // namespace

bool readInput(const QString& path, QByteArray& bytes, QString& fault) {
    QFile file(path);
    if (!openInput(path, file, fault)) {
        return false;
    }
    if (file.isSequential() || !QFileInfo(path).isFile()) {
        return readPipe(file, bytes, fault);
    }
    return file.size() > 0 ? readRegular(file, bytes, fault) : readUnsized(file, bytes, fault);
}

bool readKey(const QString& path, QByteArray& key, QString& fault, QString& warning) {
    // Reading one byte more than a key has detects a longer file.
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

bool readMemoryKey(const QString& path, QByteArray& key, QString& fault, QString& warning) {
    QByteArray content;
    const WipeOnExit wiped(content);
    if (!readSecret(path, keySize, content, fault, warning)) {
        return false;
    }
    if (content.size() < keySize) {
        fault = QStringLiteral("a key has 16 bytes, not %1").arg(content.size());
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
