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
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
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

/// Blocks the signals that end a run until the folder is complete or removed.
class HeldSignals {
  public:
    HeldSignals() {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : endingSignals) {
            struct sigaction action = {};
            const bool isIgnored = sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
            if (!isIgnored) {  // an ignored signal, if blocked, would become pending
                sigaddset(&held, signal);
            }
        }
        pthread_sigmask(SIG_BLOCK, &held, &before_);
    }
    ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

    /// Whether one of the blocked signals has arrived.
    [[nodiscard]] static bool hasOne() {
        sigset_t pending;
        sigemptyset(&pending);
        sigpending(&pending);
        return std::any_of(endingSignals.begin(), endingSignals.end(),
                           [&pending](int signal) { return sigismember(&pending, signal) == 1; });
    }

  private:
    static constexpr std::array endingSignals = {SIGHUP, SIGINT, SIGTERM};
    sigset_t before_ = {};
};

// The path of the folder that this thread is filling; empty if there is none. It is an array, because removeUnfinished
// can't allocate memory.
thread_local std::array<char, PATH_MAX> unfinished{};

/// Stores the path of the folder in `unfinished` while the folder is being filled.
class Unfinished {
  public:
    explicit Unfinished(const QString& folder) {
        const QByteArray name = QFile::encodeName(folder);
        if (name.size() < static_cast<qsizetype>(unfinished.size())) {
            std::copy(name.cbegin(), name.cend() + 1, unfinished.begin());
        }
    }
    ~Unfinished() { unfinished.front() = '\0'; }
    Unfinished(const Unfinished&) = delete;
    Unfinished& operator=(const Unfinished&) = delete;
};

bool writeAll(int handle, QByteArrayView bytes) {
    constexpr qsizetype pieceSize = 1 << 20;
    while (!bytes.isEmpty()) {
        if (HeldSignals::hasOne()) {
            errno = EINTR;
            return false;
        }
        const auto size = static_cast<std::size_t>(std::min(bytes.size(), pieceSize));
        const ssize_t written = ::write(handle, bytes.data(), size);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes = bytes.sliced(std::max<ssize_t>(written, 0));
    }
    return true;
}

// Writes with system calls, whose errors distinguish a full disk from a file size limit.
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

// Rejects a content whose letter isn't A to Z or a to z. The letter is part of a file name, and may come from a hostile
// file.
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
    if (sha256({}).isEmpty()) {
        fault = QStringLiteral("OpenSSL, as it is configured, doesn't offer SHA-256 for the manifest");
        return false;
    }
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

void removeUnfinished() {
    const int folder = unfinished.front() == '\0' ? -1 : ::open(unfinished.data(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        return;
    }
    static thread_local std::array<char, 32768> entries;
    bool isChanged = true;
    while (isChanged) {  // a file system may skip entries while other entries are removed
        isChanged = false;
        lseek(folder, 0, SEEK_SET);
        long size = 0;
        while ((size = syscall(SYS_getdents64, folder, entries.data(), entries.size())) > 0) {
            // An entry has 8 bytes of inode, 8 of offset, 2 of its own size, 1 of type, then the name.
            for (long at = 0; at < size;) {
                std::uint16_t entrySize = 0;
                std::memcpy(&entrySize, entries.data() + at + 16, sizeof entrySize);
                isChanged = unlinkat(folder, entries.data() + at + 19, 0) == 0 || isChanged;
                at += entrySize;
            }
        }
    }
    ::close(folder);
    rmdir(unfinished.data());
}

bool writeContents(const QString& path, const Description& description, const Contents& contents, QString& fault) {
    const QFileInfo place(QDir::cleanPath(path));
    if (place.exists() || place.isSymLink()) {
        fault = QStringLiteral("it exists already");
        return false;
    }
    if (!hasPlainLetters(contents)) {
        fault = QStringLiteral("the letter of an area isn't a letter");
        return false;
    }
    const HeldSignals held;
    QTemporaryDir beside(place.path() + QStringLiteral("/.qvora-inspect-XXXXXX"));  // readable by its owner only
    if (!beside.isValid()) {
        fault = beside.errorString();
        return false;
    }
    const Unfinished name(beside.path());
    if (!fillFolder(beside.path(), description, contents, fault)) {
        return false;
    }
    // A folder that was created in the meantime isn't replaced.
    if (renameat2(AT_FDCWD, QFile::encodeName(beside.path()).constData(), AT_FDCWD,
                  QFile::encodeName(place.filePath()).constData(), RENAME_NOREPLACE) != 0) {
        fault = systemFault();
        return false;
    }
    beside.setAutoRemove(false);
    return true;
}

}  // namespace inspect
