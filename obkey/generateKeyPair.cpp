#include "obkey/generateKeyPair.h"

#include "display/Display.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

namespace {

/// Moves an older key out of the way of a new one, under a name that is free. There it stays whatever comes of the new
/// one: a script that finds a key at the path must not take the older one for it.
void keepOldKey(const QString& path) {
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("_dd.MM.yyyy_hh_mm_ss"));
    const QString stem = path + stamp;
    QString kept = stem + QStringLiteral(".bak");
    for (int count = 2; QFile::exists(kept); ++count) {
        kept = stem + QLatin1Char('_') + QString::number(count) + QStringLiteral(".bak");
    }
    if (QFile::rename(path, kept)) {
        displayMessage(MessageKind::grey, "Rename file is succeeded \n");
    }
}

}  // namespace

void generateKeyPair(const QString& keyPath, const QString& keyType, Imgtool& imgtool) {
    const QString path = QString(keyPath).replace(QLatin1Char('\\'), QLatin1Char('/'));
    if (QFileInfo(path).isFile()) {
        keepOldKey(path);
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
