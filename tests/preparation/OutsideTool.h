#pragma once

#include <QByteArray>
#include <QProcess>
#include <QStringList>

#include <gtest/gtest.h>

/// Runs another program and gives its standard output. `command` is the program and its arguments, with blanks between
/// them. A status other than 0 fails the test.
inline QByteArray outsideTool(const QByteArray& command) {
    QStringList arguments = QString::fromUtf8(command).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    QProcess process;
    const QString program = arguments.takeFirst();
    process.start(program, arguments);
    EXPECT_TRUE(process.waitForFinished()) << command.constData();
    EXPECT_EQ(process.exitCode(), 0) << command.constData() << ": " << process.readAllStandardError().constData();
    return process.readAllStandardOutput();
}
