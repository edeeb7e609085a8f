#include "produce/ledgerHead.h"

#include "files/FileHandle.h"
#include "record/canonicalJson.h"

#include <QFile>
#include <QJsonObject>

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace produce {

namespace {

constexpr qint64 largestHead = 4096;

bool refuse(QString& fault, const QString& text) {
    fault = text;
    return false;
}

QString hex(const QByteArray& bytes) {
    return QString::fromLatin1(bytes.toHex());
}

QByteArray bytesOf(const QJsonValue& value) {
    return QByteArray::fromHex(value.toString().toLatin1());
}

}  // namespace

bool readHead(const QString& path, ledger::Head& head, QString& fault) {
    QFile file(path);
    if (!file.exists()) {
        head = {};
        return true;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        return refuse(fault, QStringLiteral("%1 can't be read: %2").arg(path, file.errorString()));
    }
    QJsonObject object;
    QString reason;
    const QByteArray text = file.read(largestHead).trimmed();
    if (!record::parseCanonicalJson(text, object, reason) ||
        bytesOf(object.value(QLatin1String("epoch"))).size() != 8 ||
        !object.value(QLatin1String("claims")).isDouble() || !object.value(QLatin1String("records")).isDouble()) {
        return refuse(fault, QStringLiteral("%1 isn't the head of a ledger; if it is damaged, "
                                            "qvora-produce ledger new-epoch makes the line usable again")
                                 .arg(path));
    }
    head.epoch = bytesOf(object.value(QLatin1String("epoch")));
    head.claims = object.value(QLatin1String("claims")).toInteger();
    head.records = object.value(QLatin1String("records")).toInteger();
    head.hash = bytesOf(object.value(QLatin1String("hash")));
    return true;
}

bool writeHead(const QString& path, const ledger::Head& head, QString& fault) {
    const QJsonObject object{{QStringLiteral("epoch"), hex(head.epoch)},
                             {QStringLiteral("claims"), head.claims},
                             {QStringLiteral("records"), head.records},
                             {QStringLiteral("hash"), hex(head.hash)}};
    const QByteArray name = QFile::encodeName(path);
    const QByteArray newName = name + ".new";
    FileHandle file(open(newName.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    const bool isWritten = file.isOpen() && file.write(record::canonicalJson(object) + '\n') && file.close() &&
                           std::rename(newName.constData(), name.constData()) == 0;
    return isWritten ||
           refuse(fault,
                  QStringLiteral("%1 can't be written: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno))));
}

bool checkHead(const QString& path, ledger::Ledger& ledger, QString& fault) {
    ledger::Head known;
    ledger::Head now;
    bool isReplaced = false;
    ledger::Fault reason;
    if (!readHead(path, known, fault)) {
        return false;
    }
    if (known.epoch.isEmpty()) {
        return true;
    }
    if (!ledger.head(now, reason) || !ledger.isReplaced(known.epoch, isReplaced, reason)) {
        return refuse(fault, reason.text);
    }
    if (isReplaced) {
        return true;
    }
    const bool isOlder = now.claims < known.claims || now.records < known.records;
    if (known.epoch != now.epoch || isOlder) {
        return refuse(
            fault, QStringLiteral("the ledger is older than its last known head (%1), as after a restored backup: it "
                                  "would hand out used nonces. See \"qvora-produce ledger new-epoch\"")
                       .arg(path));
    }
    return true;
}

}  // namespace produce
