#include "desktop/page/FileMark.h"

#include "desktop/page/Dialogs.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>

namespace desktop {

namespace {

struct Words {
    Q_DECLARE_TR_FUNCTIONS(FileMark)
};

QByteArray digestOf(const QString& path) {
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    const bool isRead =
        QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) && hash.addData(&file);
    return isRead ? hash.result() : QByteArray();
}

}  // namespace

void FileMark::note(const QString& path) {
    path_ = QFileInfo(path).absoluteFilePath();
    size_ = QFileInfo(path_).size();
    digest_ = digestOf(path_);
}

bool FileMark::isChanged() const {
    const QFileInfo file(path_);
    // A file with another size isn't read: it may be endless.
    return file.exists() && (file.size() != size_ || digestOf(path_) != digest_);
}

bool FileMark::mayReplace(Dialogs& dialogs, QWidget* parent) const {
    return !isChanged() ||
           dialogs.confirm(parent,
                           Words::tr("“%1” was changed by another program since it was opened. Replace it?")
                               .arg(QFileInfo(path_).fileName()),
                           Words::tr("Replace"));
}

}  // namespace desktop
