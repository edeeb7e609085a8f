#pragma once

#include "tests/support/TempFolder.h"

#include <QProcess>
#include <QString>

/// Makes a new ledger at `path` with the content of sampleLedger.sql, and then of more SQL. The result is empty, or the
/// reason why that failed. A program that includes this defines the paths QVORA_PRODUCE and QVORA_SAMPLE_LEDGER.
inline QString makeSampleLedger(const QString& path, const QByteArray& more = {}) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral(QVORA_PRODUCE),
                  {QStringLiteral("ledger"), QStringLiteral("init"), QStringLiteral("--ledger"), path});
    if (!process.waitForFinished(-1) || process.exitCode() != 0) {
        return QString::fromUtf8(process.readAll());
    }
    process.start(QStringLiteral("sqlite3"), {QStringLiteral("-bail"), path});
    process.write("BEGIN;\n" + fileContent(QStringLiteral(QVORA_SAMPLE_LEDGER)) + more + "\nCOMMIT;\n");
    process.closeWriteChannel();
    if (!process.waitForFinished(-1)) {
        return QStringLiteral("sqlite3 isn't installed");
    }
    return QString::fromUtf8(process.readAll());
}
