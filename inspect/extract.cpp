#include "inspect/extract.h"

#include "inspect/cipher.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace inspect {

namespace {

QString fileNameOf(const Content& content) {
    const QString kind = content.letter != 0 ? QString(QLatin1Char(content.letter)) : QLatin1String(content.name);
    QString name = QStringLiteral("%1-%2").arg(content.part, 5, 10, QLatin1Char('0')).arg(kind);
    if (content.hasAddress) {
        name += QStringLiteral("-%1").arg(QString::number(content.address, 16).toUpper(), 8, u'0');
    }
    return name + QStringLiteral(".bin");
}

QString systemFault() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

bool writeAll(int handle, QByteArrayView bytes) {
    while (!bytes.isEmpty()) {
        const ssize_t written = ::write(handle, bytes.data(), static_cast<std::size_t>(bytes.size()));
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes = bytes.sliced(std::max<ssize_t>(written, 0));
    }
    return true;
}

// By the system's own calls: they tell a full disk from a limit.
bool writeOwned(const QString& path, QByteArrayView bytes, QString& fault) {
    const QByteArray name = QFile::encodeName(path);
    const int handle = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    bool isWritten = handle >= 0 && writeAll(handle, bytes);
    if (!isWritten) {
        fault = systemFault();
    }
    if (handle >= 0 && ::close(handle) != 0 && isWritten) {
        fault = systemFault();
        isWritten = false;
    }
    return isWritten;
}

QJsonObject entryOf(const Content& content) {
    QJsonObject entry{{QStringLiteral("file"), fileNameOf(content)},
                      {QStringLiteral("part"), content.part},
                      {QStringLiteral("name"), QLatin1String(content.name)},
                      {QStringLiteral("size"), qint64{content.bytes.size()}},
                      {QStringLiteral("sha256"), QString::fromLatin1(sha256(content.bytes).toHex())}};
    if (content.letter != 0) {
        entry[QStringLiteral("letter")] = QString(QLatin1Char(content.letter));
    }
    if (content.hasAddress) {
        entry[QStringLiteral("address")] =
            QStringLiteral("0x%1").arg(QString::number(content.address, 16).toUpper(), 8, u'0');
    }
    return entry;
}

// No letter of a hostile file gets into a name.
bool hasPlainLetters(const Contents& contents) {
    for (const Content& content : contents.list) {
        const bool isLetter =
            (content.letter >= 'A' && content.letter <= 'Z') || (content.letter >= 'a' && content.letter <= 'z');
        if (content.letter != 0 && !isLetter) {
            return false;
        }
    }
    return true;
}

bool fillFolder(const QString& folder, const Description& description, const Contents& contents, QString& fault) {
    QJsonArray entries;
    for (const Content& content : contents.list) {
        if (!writeOwned(folder + u'/' + fileNameOf(content), content.bytes, fault)) {
            return false;
        }
        entries.append(entryOf(content));
    }
    const QJsonObject manifest{{QStringLiteral("schema"), 1},
                               {QStringLiteral("format"), QLatin1String(description.format->name)},
                               {QStringLiteral("files"), entries}};
    return writeOwned(folder + QStringLiteral("/manifest.json"), QJsonDocument(manifest).toJson(), fault);
}

}  // namespace

bool writeContents(const QString& path, const Description& description, const Contents& contents, QString& fault) {
    const QFileInfo place(QDir::cleanPath(path));
    if (place.exists() || place.isSymLink()) {
        fault = QStringLiteral("is there already");
        return false;
    }
    if (!hasPlainLetters(contents)) {
        fault = QStringLiteral("an area's letter is none");
        return false;
    }
    QTemporaryDir beside(place.path() + QStringLiteral("/.XXXXXX"));  // for its owner only
    if (!beside.isValid()) {
        fault = beside.errorString();
        return false;
    }
    if (!fillFolder(beside.path(), description, contents, fault)) {
        return false;
    }
    // A folder that came up meanwhile stays as it is.
    if (renameat2(AT_FDCWD, QFile::encodeName(beside.path()).constData(), AT_FDCWD,
                  QFile::encodeName(place.filePath()).constData(), RENAME_NOREPLACE) != 0) {
        fault = systemFault();
        return false;
    }
    beside.setAutoRemove(false);
    return true;
}

}  // namespace inspect
