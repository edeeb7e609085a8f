#include "fuzz/FuzzFile.h"

#include "display/Display.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <unistd.h>

namespace {

// The folder for the files. It is in a memory file system if there is one, because a fuzzer writes thousands of files
// per second.
QString folder() {
    static const QString made = [] {
        static int argc = 1;
        static char name[] = "fuzz";
        static char* argv[] = {name, nullptr};
        static const QCoreApplication application(argc, argv);
        const QString base = QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm") : QDir::tempPath();
        const QString path = base + QStringLiteral("/bundle-builder-fuzz-") + QString::number(getpid());
        QDir().mkpath(path);
        return path;
    }();
    return made;
}

void swallow(std::int32_t /*kind*/, const wchar_t* /*text*/) {
}

QByteArray& targetName() {
    static QByteArray name;
    return name;
}

}  // namespace

QByteArray fuzzTarget() {
    return targetName();
}

void setFuzzTarget(const QByteArray& name) {
    targetName() = name;
}

FuzzFile::FuzzFile(const std::uint8_t* data, std::size_t size, const char* suffix)
    : path_(folder() + QStringLiteral("/input") + QLatin1String(suffix)) {
    Display::getInstance()->callback = swallow;
    QFile file(path_);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size)) != static_cast<qint64>(size)) {
        qFatal("cannot write %s", qUtf8Printable(path_));
    }
}

FuzzFile::~FuzzFile() {
    QFile::remove(path_);
    QFile::remove(output());
}
