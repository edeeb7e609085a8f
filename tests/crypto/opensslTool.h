#pragma once

#include "tests/support/TempFolder.h"

#include <QProcess>
#include <QStringList>

/// What the `openssl` command line answers to the blank-separated `arguments` on its standard output.
inline QByteArray openssl(const QString& arguments) {
    QProcess process;
    process.start(QStringLiteral("openssl"), arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts));
    process.closeWriteChannel();
    process.waitForFinished(-1);
    return process.readAllStandardOutput();
}

/// A new private key of an algorithm with its options.
inline void opensslMakeKey(const QString& path, const char* algorithm) {
    openssl(QStringLiteral("genpkey -out %1 -algorithm %2").arg(path, QLatin1String(algorithm)));
}

/// Whether `signature`, DER where it is ECDSA, signs SHA-256 of `data`.
inline bool opensslVerifies(const QString& publicPath, const QByteArray& signature, const QByteArray& data) {
    const TempFolder folder;
    return openssl(QStringLiteral("dgst -sha256 -verify %1 -signature %2 %3")
                       .arg(publicPath, folder.write("signature", signature), folder.write("data", data))) ==
           "Verified OK\n";
}
