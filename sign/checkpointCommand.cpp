#include "display/Display.h"
#include "display/MessageCollector.h"
#include "files/outputFile.h"
#include "record/RecordReader.h"
#include "record/StationKey.h"
#include "record/checkpoint.h"
#include "record/lineForm.h"
#include "sign/commandLine.h"
#include "sign/signedOutput.h"
#include "token/SigningKey.h"

#include <QDateTime>
#include <QFile>

#include <cstdio>

namespace sign {

namespace {

/// Reads the record and checks its chain. `pending` receives the lines that no checkpoint covers.
bool readRecord(const QString& path, record::Pending& pending, QString& station, record::ChainHead& head) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return reportError("The record %s can't be opened : %s", qUtf8Printable(path),
                           qUtf8Printable(file.errorString()));
    }
    record::RecordReader reader(file);
    for (;;) {
        switch (reader.next()) {
            case record::RecordReader::Next::line:
                pending.add(reader.line(), reader.head());
                break;
            case record::RecordReader::Next::fault:
                return reportError("%s, line %lld : %s", qUtf8Printable(path), qint64{reader.head().number + 1},
                                   qUtf8Printable(reader.fault()));
            case record::RecordReader::Next::end:
                station = reader.station();
                head = reader.head();
                return pending.lines() > 0 ||
                       reportError("The record %s has no line after its last checkpoint", qUtf8Printable(path));
        }
    }
}

/// Signs the pending lines. `line` receives the line of the checkpoint.
bool signLines(const token::KeyName& name, record::Pending& pending, const QString& station, record::ChainHead& head,
               QByteArray& line) {
    record::StationKey key;
    QByteArray publicPem;
    token::Signer signer;
    QString fault;
    QJsonObject body;
    if (!token::openSigner(name, token::SignatureKind::ecdsaP256, publicPem, signer)) {
        return false;
    }
    const QString time = record::timeText(QDateTime::currentDateTimeUtc());
    if (key.use(publicPem, signer, fault) && pending.takeCheckpoint(key, station, time, body)) {
        line = record::nextLine(body, head) + '\n';
        return true;
    }
    return reportError("The checkpoint can't be signed");
}

}  // namespace

int runCheckpoint(const calls::Call& call) {
    record::Pending pending;
    QString station;
    record::ChainHead head;
    QByteArray line;
    const QString output = call.value("output");
    if (!mayWriteOutputs(call, {output}) || !readRecord(call.operands.constFirst(), pending, station, head)) {
        return calls::statusFailed;
    }
    const qint64 last = head.number;
    const qint64 first = last - pending.lines() + 1;
    if (!signLines({call.value("key"), call.value("public")}, pending, station, head, line) ||
        !writeOutputFile(output, line, "The output can't be written")) {
        return calls::statusFailed;
    }
    std::printf("%s: signs the lines %lld to %lld\n", qUtf8Printable(shownMessage(output)), first, last);
    return calls::statusDone;
}

}  // namespace sign
