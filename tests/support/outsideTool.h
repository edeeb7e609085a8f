#pragma once

#include "tests/support/TempFolder.h"

#include <QProcess>
#include <QStringList>

#include <gtest/gtest.h>

/// Runs another program and gives its standard output. Blanks stand between the program and its arguments. A status
/// other than 0 fails the test.
inline QByteArray outsideTool(const QByteArray& command) {
    QStringList arguments = QString::fromUtf8(command).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    QProcess process;
    process.start(arguments.takeFirst(), arguments);
    process.closeWriteChannel();
    EXPECT_TRUE(process.waitForFinished(-1)) << command.constData();
    EXPECT_EQ(process.exitCode(), 0) << command.constData() << ": " << process.readAllStandardError().constData();
    return process.readAllStandardOutput();
}

inline QByteArray openssl(const QString& arguments) {
    return outsideTool("openssl " + arguments.toUtf8());
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
