#include "desktop/form/fieldVerdict.h"

#include "files/wipe.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace desktop {

namespace {

struct Words {
    Q_DECLARE_TR_FUNCTIONS(fieldVerdict)
};

QFileInfo fileAt(const QString& path, const QString& folder) {
    return QFileInfo(folder.isEmpty() ? path : QDir(folder).filePath(path));
}

jobs::Verdict inFileVerdict(const QFileInfo& file) {
    if (!file.exists()) {
        return jobs::fault(file.dir().exists() ? Words::tr("There is no such file.")
                                               : Words::tr("The folder of this file isn't there."));
    }
    if (file.isDir()) {
        return jobs::fault(Words::tr("This is a folder; a file is needed."));
    }
    if (!file.isReadable()) {
        return jobs::fault(Words::tr("You have no right to read this file."));
    }
    return {};
}

jobs::Verdict outFileVerdict(const QString& path, const QFileInfo& file, bool keepsOld) {
    if (file.isDir() || path.endsWith(u'/')) {
        return jobs::fault(Words::tr("This is a folder; the name of a file is needed."));
    }
    const QFileInfo folder(file.absolutePath());
    if (!folder.exists()) {
        return jobs::fault(Words::tr("The folder of this file isn't there."));
    }
    if (!folder.isDir()) {
        return jobs::fault(Words::tr("The path has a file where a folder should be."));
    }
    // An existing file can be overwritten even if its folder allows no new files.
    if (file.exists()) {
        if (!file.isFile()) {
            return file.isWritable() ? jobs::Verdict() : jobs::fault(Words::tr("You have no right to write there."));
        }
        if (keepsOld && folder.isWritable()) {
            return {};
        }
        return file.isWritable()
                   ? jobs::Verdict{jobs::Verdict::Kind::good, Words::tr("The existing file will be replaced.")}
                   : jobs::fault(Words::tr("You have no right to overwrite the existing file."));
    }
    return folder.isWritable() ? jobs::Verdict()
                               : jobs::fault(Words::tr("You have no right to make files in this folder."));
}

jobs::Verdict folderVerdict(const QFileInfo& folder) {
    if (!folder.exists()) {
        return jobs::fault(Words::tr("There is no such folder."));
    }
    return folder.isDir() ? jobs::Verdict() : jobs::fault(Words::tr("This is a file; a folder is needed."));
}

jobs::Verdict inFilesVerdict(const QStringList& values, const QString& folder) {
    for (qsizetype at = 0; at < values.size(); at += 2) {
        const QString& path = values.at(at);
        if (path.isEmpty()) {
            return jobs::fault(Words::tr("There is no file beside “%1”.").arg(values.value(at + 1)));
        }
        const QFileInfo file = fileAt(path, folder);
        const jobs::Verdict verdict = inFileVerdict(file);
        if (verdict.kind != jobs::Verdict::Kind::good) {
            return values.size() == 2 ? verdict : jobs::fault(Words::tr("“%1”: %2").arg(file.fileName(), verdict.text));
        }
    }
    return {};
}

/// Whether the file at `path` contains the PEM mark of a private key.
bool holdsPrivateKey(const QString& path) {
    constexpr qint64 most = 8192;  // no usual key file has more text before its key
    QFile file(path);
    QByteArray head;
    const WipeOnExit wiped(head);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return false;
    }
    head = file.read(most);
    return head.contains("PRIVATE KEY-----");
}

}  // namespace

jobs::Verdict missingVerdict(jobs::FieldKind kind) {
    switch (kind) {
        case jobs::FieldKind::inFile:
        case jobs::FieldKind::inFiles:
            return {jobs::Verdict::Kind::missing, Words::tr("A file is needed here.")};
        case jobs::FieldKind::outFile:
            return {jobs::Verdict::Kind::missing, Words::tr("The name of a file to write is needed here.")};
        case jobs::FieldKind::folder:
            return {jobs::Verdict::Kind::missing, Words::tr("A folder is needed here.")};
        case jobs::FieldKind::choice:
            return {jobs::Verdict::Kind::missing, Words::tr("Choose one from the list.")};
        case jobs::FieldKind::check:
            return {jobs::Verdict::Kind::missing, Words::tr("This box must be checked.")};
        default:
            return {jobs::Verdict::Kind::missing, Words::tr("A value is needed here.")};
    }
}

jobs::Verdict fieldVerdict(const FormField& field, const QStringList& values, const QString& folder) {
    if (values.isEmpty()) {
        return field.required ? missingVerdict(field.kind) : jobs::Verdict();
    }
    const QString& value = values.first();
    switch (field.kind) {
        case jobs::FieldKind::inFile:
            return inFileVerdict(fileAt(value, folder));
        case jobs::FieldKind::outFile:
            return outFileVerdict(value, fileAt(value, folder), field.keepsOld);
        case jobs::FieldKind::folder:
            return folderVerdict(fileAt(value, folder));
        case jobs::FieldKind::inFiles:
            return inFilesVerdict(values, folder);
        case jobs::FieldKind::choice: {
            const bool isChoice = std::any_of(field.choices.begin(), field.choices.end(),
                                              [&value](const FieldChoice& choice) { return choice.value == value; });
            return isChoice ? jobs::Verdict() : jobs::fault(Words::tr("“%1” can't be chosen here.").arg(value));
        }
        default:
            return {};
    }
}

jobs::Verdict withAccess(const jobs::Verdict& verdict, const FormField& field, const QStringList& values,
                         const QString& folder) {
    const bool isKey = field.secret || field.role == jobs::PathRole::key;
    if (verdict.kind != jobs::Verdict::Kind::good || !isKey ||
        (field.kind != jobs::FieldKind::inFile && field.kind != jobs::FieldKind::inFiles)) {
        return verdict;
    }
    for (qsizetype at = 0; at < values.size(); at += 2) {
        const QFileInfo file = fileAt(values.at(at), folder);
        if (file.isFile() && file.permission(QFile::ReadOther) && (field.secret || holdsPrivateKey(file.filePath()))) {
            const QString warning = Words::tr("Every user of this computer can read “%1”.").arg(file.fileName());
            return {jobs::Verdict::Kind::warning,
                    verdict.text.isEmpty() ? warning : Words::tr("%1. %2").arg(verdict.text, warning)};
        }
    }
    return verdict;
}

QStringList fileStamps(const FormField& field, const QStringList& values, const QString& folder) {
    QStringList stamps;
    if (field.kind != jobs::FieldKind::inFile && field.kind != jobs::FieldKind::inFiles) {
        return stamps;
    }
    for (qsizetype at = 0; at < values.size(); at += 2) {
        const QFileInfo file = fileAt(values.at(at), folder);
        stamps.append(QString::number(file.size()) + u' ' + QString::number(file.lastModified().toMSecsSinceEpoch()) +
                      u' ' + QString::number(file.isReadable()) + u' ' + QString::number(file.permissions().toInt()));
    }
    return stamps;
}

}  // namespace desktop
