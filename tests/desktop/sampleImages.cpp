#include "tests/desktop/sampleImages.h"

#include <QFile>
#include <QProcess>

namespace {

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        qFatal("%s can't be written", qUtf8Printable(path));
    }
}

}  // namespace

QString makeInstallImage(const DesktopKit& kit, const char* name, int version) {
    const QString firmware = QStringLiteral(QVORA_EXAMPLES "/firmware/");
    const QString path = kit.folder.path(name);
    const QString data = kit.folder.path("data.bin");
    const QString more = kit.folder.path("more.bin");
    write(data, QByteArray("calibration data ").repeated(3000));
    write(more, QByteArray("language file ").repeated(400 + version));
    QProcess tool;
    QStringList arguments = {QStringLiteral("-tbi"), QStringLiteral("-devid"), QStringLiteral("0x455")};
    arguments << QStringLiteral("-fir") << firmware + QStringLiteral("blink.elf");
    arguments << QStringLiteral("-fir") << data << QStringLiteral("0x08010000");
    arguments << QStringLiteral("-fir") << more << QStringLiteral("0x08100000");
    arguments << QStringLiteral("-k") << firmware + QStringLiteral("key.bin");
    arguments << QStringLiteral("-n") << firmware + QStringLiteral("nonce.bin");
    arguments << QStringLiteral("-v") << QString::number(version);
    arguments << QStringLiteral("-ob") << firmware + QStringLiteral("option-bytes.csv");
    arguments << QStringLiteral("-o") << path;
    tool.start(QStringLiteral(QVORA_TOOL), arguments);
    if (!tool.waitForFinished() || tool.exitCode() != 0) {
        qFatal("the tool ended with %d", tool.exitCode());
    }
    return path;
}

QString changedCopy(const DesktopKit& kit, const QString& path, const char* name, qint64 offset,
                    const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qFatal("%s can't be read", qUtf8Printable(path));
    }
    QByteArray content = file.readAll();
    content.replace(offset, bytes.size(), bytes);
    const QString copy = kit.folder.path(name);
    write(copy, content);
    return copy;
}
