#include "tests/support/TempFolder.h"

#include <QFile>

QString TempFolder::path(const char* name) const {
    return folder_.filePath(QString::fromUtf8(name));
}

QString TempFolder::write(const char* name, const QByteArray& content) const {
    const QString filePath = path(name);
    QFile file(filePath);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        qFatal("cannot write %s", qUtf8Printable(filePath));
    }
    return filePath;
}

QByteArray TempFolder::read(const char* name) const {
    return fileContent(path(name));
}

QByteArray fileContent(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
