#pragma once

#include "tests/support/TempFolder.h"

#include <QProcess>
#include <QStringList>

#include <gtest/gtest.h>

/// Runs another program and returns its standard output. A status other than 0 fails the test.
inline QByteArray outsideTool(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    process.closeWriteChannel();
    const std::string line = (program + u' ' + arguments.join(u' ')).toStdString();
    EXPECT_TRUE(process.waitForFinished(-1)) << line;
    EXPECT_EQ(process.exitCode(), 0) << line << ": " << process.readAllStandardError().constData();
    return process.readAllStandardOutput();
}

/// The same for a command line of words separated by blanks.
inline QByteArray outsideTool(const QByteArray& command) {
    QStringList arguments = QString::fromUtf8(command).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const QString program = arguments.takeFirst();
    return outsideTool(program, arguments);
}

inline QByteArray openssl(const QString& arguments) {
    return outsideTool("openssl " + arguments.toUtf8());
}

/// Makes a new private key. `algorithm` is its name with its options.
inline void opensslMakeKey(const QString& path, const char* algorithm) {
    openssl(QStringLiteral("genpkey -out %1 -algorithm %2").arg(path, QLatin1String(algorithm)));
}

/// Whether `signature` is valid for the SHA-256 of `data`. An ECDSA signature is in DER form.
inline bool opensslVerifies(const QString& publicPath, const QByteArray& signature, const QByteArray& data) {
    const TempFolder folder;
    return openssl(QStringLiteral("dgst -sha256 -verify %1 -signature %2 %3")
                       .arg(publicPath, folder.write("signature", signature), folder.write("data", data))) ==
           "Verified OK\n";
}
