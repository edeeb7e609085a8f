#include "obkey/generateKeyPair.h"

#include "display/Display.h"
#include "files/FileHandle.h"
#include "files/outputFile.h"
#include "files/wipe.h"

#include <QDateTime>
#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace obkey {

namespace {

/// Copies a key to a new file that is readable by its owner only.
bool copyKey(const QByteArray& path, const QString& copyPath) {
    constexpr qsizetype pieceSize = qsizetype{64} << 10;
    const FileHandle key(open(path.constData(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!key.isOpen() || fstat(key.get(), &status) != 0) {
        return false;
    }
    QByteArray piece(pieceSize, '\0');
    const WipeOnExit wipePiece(piece);
    const auto copy = [&](const PieceWriter& write) {
        ssize_t count = 0;
        do {
            count = key.read(piece.data(), static_cast<std::size_t>(piece.size()));
        } while (count > 0 && write(QByteArrayView(piece).first(count)));
        return count == 0;
    };
    const bool isWritable = (status.st_mode & S_IWUSR) != 0;
    return replaceFileBy(copyPath, copy, isWritable ? FileAccess::ownerReadsAndWrites : FileAccess::ownerReads) ==
           ReplaceResult::done;
}

/// Renames an older key to a free name before a new one is made. The older key keeps that name even if no new key is
/// made, so that a script doesn't mistake it for the new one. A key that can't be renamed, such as a mount point, is
/// copied and then removed. If it can't be removed, it gets mode 0600, because imgtool keeps the mode of a file that it
/// overwrites. Returns false if the key can't be copied, or if it can neither be removed nor get that mode.
bool keepOldKey(const QString& path) {
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("_dd.MM.yyyy_hh_mm_ss"));
    const QString stem = path + stamp;
    QString kept = stem + QStringLiteral(".bak");
    for (int count = 2; QFile::exists(kept); ++count) {
        kept = stem + QLatin1Char('_') + QString::number(count) + QStringLiteral(".bak");
    }
    // If the system can't rename the file, QFile::rename copies it and gives the copy default permissions.
    const QByteArray oldName = QFile::encodeName(path);
    if (std::rename(oldName.constData(), QFile::encodeName(kept).constData()) == 0) {
        displayMessage(MessageKind::grey, "Rename file is succeeded \n");
        return true;
    }
    return copyKey(oldName, kept) &&
           (unlink(oldName.constData()) == 0 || chmod(oldName.constData(), S_IRUSR | S_IWUSR) == 0);
}

/// Whether there may be a file at `path`. If the path can't be looked up, there may be one.
bool mayBeFile(const QString& path) {
    struct stat status {};
    return stat(QFile::encodeName(path).constData(), &status) == 0 ? S_ISREG(status.st_mode)
                                                                   : errno != ENOENT && errno != ENOTDIR;
}

}  // namespace

void generateKeyPair(const QString& keyPath, const QString& keyType, Imgtool& imgtool) {
    const QString path = QString(keyPath).replace(QLatin1Char('\\'), QLatin1Char('/'));
    if (mayBeFile(path) && !keepOldKey(path)) {
        reportError("Key Generation Failed \n");
        return;
    }
    const QString publicPath = path.chopped(std::min<qsizetype>(4, path.size())) + QStringLiteral("_pub.pem");
    const QStringList arguments = {QStringLiteral("keygen"),
                                   QStringLiteral("-k"),
                                   path,
                                   QStringLiteral("-t"),
                                   keyType,
                                   QStringLiteral("-e"),
                                   publicPath};
    const ImgtoolAnswer answer = imgtool.run(platformArguments(arguments));
    if (!answer.ended || (answer.failed && answer.output.isEmpty())) {
        reportError("Key Generation Failed \n");
    } else if (answer.output.isEmpty()) {
        displayMessage(MessageKind::grey, "SUCCESS Key Generation \n");
    } else {
        showImgtoolAnswer(answer.output);
        reportError("Fail Key Generation Check Input Param\n");
    }
}

}  // namespace obkey
