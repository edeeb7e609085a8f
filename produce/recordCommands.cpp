// The commands that read a record.

#include "files/outputFile.h"
#include "produce/ConsoleListener.h"
#include "produce/runnerCommands.h"
#include "record/exportRecord.h"
#include "record/verify.h"

#include <QFile>

#include <cstdio>

namespace produce {

namespace {

constexpr qint64 largestPem = 64 << 10;

bool writeToOutput(QByteArrayView piece) {
    return std::fwrite(piece.data(), 1, static_cast<std::size_t>(piece.size()), stdout) ==
           static_cast<std::size_t>(piece.size());
}

}  // namespace

int runRecordVerify(const calls::Call& call) {
    QFile pem(call.value("public"));
    if (!pem.open(QIODevice::ReadOnly)) {
        printFault(QStringLiteral("%1 can't be read: %2").arg(call.value("public"), pem.errorString()));
        return statusNothing;
    }
    const QString path = call.operands.constFirst();
    const record::Verdict verdict = record::verifyRecord(path, pem.read(largestPem));
    if (!verdict.isGood) {
        printFault(verdict.fault);
        return verdict.lines == 0 && verdict.faultLine == 0 ? statusNothing : statusFailed;
    }
    std::printf("%s: %lld lines, %lld proven devices, %lld recalled, %lld checkpoints, last line at %s\n",
                qUtf8Printable(printable(path)), static_cast<long long>(verdict.lines),
                static_cast<long long>(verdict.devices), static_cast<long long>(verdict.recalls),
                static_cast<long long>(verdict.checkpoints), qUtf8Printable(verdict.lastTime));
    if (!verdict.isSigned()) {
        printFault(QStringLiteral("no line is signed, so anyone can have written this record"));
        return statusFailed;
    }
    if (verdict.unsignedLines > 0) {
        printFault(QStringLiteral("the last %1 lines aren't signed yet").arg(verdict.unsignedLines));
    }
    return statusDone;
}

int runRecordExport(const calls::Call& call) {
    if (call.has("in-toto") == call.has("csv")) {
        printFault(QStringLiteral("record export needs either --in-toto or --csv"));
        return statusNothing;
    }
    QString fault;
    const QString path = call.operands.constFirst();
    const bool isDone = call.has("csv") ? record::exportCsv(path, writeToOutput, fault)
                                        : record::exportInToto(path, writeToOutput, fault);
    if (!isDone) {
        printFault(fault);
    }
    return isDone ? statusDone : statusFailed;
}

}  // namespace produce
