#include "record/verify.h"

#include "record/LineReader.h"
#include "record/canonicalJson.h"
#include "record/envelope.h"
#include "tests/record/RecordKit.h"
#include "tests/support/outsideTool.h"

#include <QBuffer>
#include <QJsonArray>

#include <gtest/gtest.h>

namespace {

using record::ChainHead;
using record::Verdict;
using record::verifyRecord;

Verdict verdictOf(QByteArray bytes, const ChainHead& known = {}, const QByteArray& publicPem = kitPublicPem()) {
    QBuffer device(&bytes);
    EXPECT_TRUE(device.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    const Verdict verdict = verifyRecord(device, publicPem, known);
    EXPECT_EQ(verdict.isGood, verdict.fault.isEmpty());
    EXPECT_TRUE(!verdict.isGood || verdict.faultLine == 0);
    return verdict;
}

QString faultOf(const KitWriter& writer) {
    return verdictOf(writer.bytes()).fault;
}

/// The fault of the small record after `change` has changed the statement of its checkpoint. The changed statement is
/// signed.
template <typename Change>
QString faultOfStatement(Change change) {
    KitWriter writer;
    writer.add(kitStart());
    writer.add(kitDevice());
    QJsonObject statement = writer.statement();
    change(statement);
    writer.addSigned(record::canonicalJson(statement));
    return faultOf(writer);
}

QString faultOfPredicate(const char* member, const QJsonValue& value) {
    return faultOfStatement([&](QJsonObject& statement) {
        statement = kitWith(statement, "predicate",
                            kitWith(statement.value(QLatin1String("predicate")).toObject(), member, value));
    });
}

QString faultOfSubjects(const std::function<void(QJsonArray&)>& change) {
    return faultOfStatement([&](QJsonObject& statement) {
        QJsonArray subjects = statement.value(QLatin1String("subject")).toArray();
        change(subjects);
        statement = kitWith(statement, "subject", subjects);
    });
}

/// The fault of the small record after `change` has changed the envelope of its checkpoint.
QString faultOfEnvelope(const std::function<QJsonObject(QJsonObject)>& change) {
    QByteArrayList lines = kitSmallRecord().lines();
    QJsonObject checkpoint = kitObject(lines.takeLast());
    const QJsonObject envelope = change(checkpoint.value(QLatin1String("envelope")).toObject());
    lines.append(record::canonicalJson(kitWith(checkpoint, "envelope", envelope)));
    return verdictOf(kitBytes(lines)).fault;
}

QJsonObject withSignature(const QJsonObject& envelope, const char* member, const QString& value) {
    const QJsonObject signature = envelope.value(QLatin1String("signatures")).toArray().at(0).toObject();
    return kitWith(envelope, "signatures", QJsonArray{kitWith(signature, member, value)});
}

std::string summary(const Verdict& verdict) {
    return QStringLiteral("%1 lines, %2 devices, %3 recalls, %4 checkpoints, %5 unsigned")
        .arg(verdict.lines)
        .arg(verdict.devices)
        .arg(verdict.recalls)
        .arg(verdict.checkpoints)
        .arg(verdict.unsignedLines)
        .toStdString();
}

/// A start, a device with one output, and a checkpoint: short enough to change each byte.
QByteArray shortRecord() {
    QJsonObject step = kitFailedDevice().value(QLatin1String("steps")).toArray().at(0).toObject();
    step = kitWith(step, "verdict", QStringLiteral("proven"));
    KitWriter writer;
    writer.add(kitStart());
    writer.add(kitWith(kitDevice(), "steps", QJsonArray{step}));
    writer.addCheckpoint();
    return writer.bytes();
}

}  // namespace

TEST(VerifyRecord, AcceptsAGoodRecord) {
    const KitWriter writer = kitRecord();
    const TempFolder folder;
    const Verdict verdict = verifyRecord(folder.write("record.jsonl", writer.bytes()), kitPublicPem());
    EXPECT_TRUE(verdict.isGood && verdict.isSigned()) << qUtf8Printable(verdict.fault);
    EXPECT_EQ(summary(verdict), "12 lines, 2 devices, 1 recalls, 3 checkpoints, 0 unsigned");
    EXPECT_EQ(verdict.lastHash, writer.head().hash);
    EXPECT_EQ(verdict.station, kitStation);
    EXPECT_EQ(verdict.lastTime, kitTime);
}

TEST(VerifyRecord, CountsUnsignedLines) {
    KitWriter writer;
    EXPECT_EQ(summary(verdictOf("")), "0 lines, 0 devices, 0 recalls, 0 checkpoints, 0 unsigned");
    writer.add(kitStart());
    writer.add(kitDevice());
    Verdict verdict = verdictOf(writer.bytes());
    EXPECT_TRUE(verdict.isGood);
    EXPECT_FALSE(verdict.isSigned());
    EXPECT_EQ(summary(verdict), "2 lines, 1 devices, 0 recalls, 0 checkpoints, 2 unsigned");
    EXPECT_EQ(verdict.lastTime, QStringLiteral("2026-11-26T06:00:01.000Z"));
    writer.addCheckpoint();
    writer.add(kitDevice());
    verdict = verdictOf(writer.bytes());
    EXPECT_TRUE(verdict.isSigned());
    EXPECT_EQ(summary(verdict), "4 lines, 2 devices, 0 recalls, 1 checkpoints, 1 unsigned");
}

TEST(VerifyRecord, FindsEveryChangedByte) {
    const QByteArray good = shortRecord();
    ASSERT_TRUE(verdictOf(good).isSigned());
    qint64 line = 1;
    for (qsizetype at = 0; at < good.size(); ++at) {
        for (const char change : {'\x01', '\x20'}) {
            QByteArray bytes = good;
            bytes[at] = static_cast<char>(bytes.at(at) ^ change);
            const Verdict verdict = verdictOf(bytes);
            EXPECT_FALSE(verdict.isGood) << at;
            // The fault is found in the changed line, or in the next line, which has its hash.
            EXPECT_TRUE(verdict.faultLine == line || verdict.faultLine == line + 1) << at << ' ' << verdict.faultLine;
        }
        EXPECT_FALSE(verdictOf(QByteArray(good).insert(at, at % 2 == 0 ? '\n' : ' ')).isGood) << at;
        EXPECT_FALSE(verdictOf(QByteArray(good).remove(at, 1)).isGood) << at;
        line += good.at(at) == '\n' ? 1 : 0;
    }
}

TEST(VerifyRecord, FindsEveryRemovedRepeatedAndMovedLine) {
    const QByteArrayList good = kitRecord().lines();
    for (qsizetype i = 0; i < good.size(); ++i) {
        QByteArrayList lines = good;
        lines.removeAt(i);
        const bool isEnd = i + 1 == good.size();  // without its last checkpoint, a record has one unsigned line
        const Verdict verdict = verdictOf(kitBytes(lines));
        EXPECT_EQ(verdict.isGood, isEnd) << i;
        EXPECT_EQ(isEnd ? verdict.unsignedLines : verdict.faultLine, isEnd ? 1 : i + 1);
        for (qsizetype j = 0; j < good.size(); ++j) {
            lines = good;
            lines.insert(j, good.at(i));
            EXPECT_FALSE(verdictOf(kitBytes(lines)).isGood) << i << ' ' << j;
            if (i < j) {
                lines = good;
                lines.swapItemsAt(i, j);
                EXPECT_EQ(verdictOf(kitBytes(lines)).faultLine, i + 1) << i << ' ' << j;
            }
        }
        lines = good;
        lines.append(good.at(i));
        EXPECT_FALSE(verdictOf(kitBytes(lines)).isGood) << i;
    }
}

TEST(VerifyRecord, FindsEachCut) {
    const QByteArray good = shortRecord();
    for (qsizetype size = 0; size < good.size(); ++size) {
        const QByteArray cut = good.first(size);
        const Verdict verdict = verdictOf(cut);
        const auto lines = static_cast<qint64>(cut.count('\n'));
        EXPECT_EQ(verdict.lines, lines) << size;
        if (cut.isEmpty() || cut.endsWith('\n')) {
            EXPECT_TRUE(verdict.isGood && !verdict.isSigned()) << size;
            EXPECT_EQ(verdict.unsignedLines, lines);
        } else {
            EXPECT_EQ(verdict.fault.toStdString(),
                      QStringLiteral("Line %1: the line has no line break at its end; its writing was interrupted")
                          .arg(lines + 1)
                          .toStdString());
        }
    }
}

// A record alone doesn't show that its last lines were removed. A line that is known from another place does.
TEST(VerifyRecord, FindsRemovedEndsByAKnownLine) {
    const KitWriter writer = kitRecord();
    for (qsizetype size = 0; size < writer.lines().size(); ++size) {
        const QByteArray cut = kitBytes(writer.lines().first(size));
        const Verdict verdict = verdictOf(cut);
        EXPECT_TRUE(verdict.isGood) << size;
        EXPECT_EQ(verdict.unsignedLines, size < 5 ? size : size < 10 ? size - 5 : size - 10);
        EXPECT_FALSE(verdictOf(cut, writer.head()).isGood) << size;
    }
    EXPECT_TRUE(verdictOf(writer.bytes(), writer.head()).isGood);
}

TEST(VerifyRecord, ComparesWithAKnownLine) {
    KitWriter writer = kitSmallRecord();
    const ChainHead known = writer.head();
    writer.add(kitDevice());
    EXPECT_TRUE(verdictOf(writer.bytes(), known).isGood);
    EXPECT_EQ(verdictOf(kitBytes(writer.lines().first(3)), known).fault,
              QStringLiteral("The record ends after line 3, but line 5 is known; lines were removed"));
    EXPECT_EQ(verdictOf(kitRecord().bytes(), known).fault,
              QStringLiteral("Line 5: the line isn't the known one; the record was rewritten"));
}

// A forger without the key can chain any lines, but can't sign them.
TEST(VerifyRecord, FindsForgedCheckpoints) {
    const KitWriter good = kitSmallRecord();
    const QJsonObject checkpoint = kitObject(good.lines().last());
    KitWriter copied = good;
    copied.add(checkpoint);
    EXPECT_EQ(faultOf(copied), QStringLiteral("Line 6: the checkpoint covers no line"));
    copied = good;
    copied.add(kitDevice("A-0009"));
    copied.add(checkpoint);
    EXPECT_EQ(faultOf(copied), QStringLiteral("Line 7: in the signed statement, \"counts\" isn't "
                                              "{\"failed\":0,\"interrupted\":0,\"outputs\":3,\"proven\":1}"));

    // The same lines with one change, chained again, before the original checkpoint.
    KitWriter rewritten;
    rewritten.add(kitStart());
    rewritten.add(kitWith(kitDevice(), "product", QStringLiteral("meter-b")));
    rewritten.add(kitFailedDevice());
    rewritten.add(kitEnd(1, 1, 0));
    const QString hash = record::previousOf(rewritten.head());
    rewritten.add(checkpoint);
    EXPECT_EQ(faultOf(rewritten),
              QStringLiteral("Line 5: in the signed statement, \"lastHash\" isn't \"%1\"").arg(hash));

    const TempFolder folder;
    opensslMakeKey(folder.path("other.pem"), "EC -pkeyopt ec_paramgen_curve:P-256");
    const QByteArray otherPublic = openssl(QStringLiteral("pkey -pubout -in ") + folder.path("other.pem"));
    record::StationKey other;
    ASSERT_TRUE(QFile::setPermissions(folder.path("other.pem"), QFile::ReadOwner));
    QString fault;
    ASSERT_TRUE(other.read(folder.path("other.pem"), fault)) << qUtf8Printable(fault);
    EXPECT_EQ(verdictOf(good.bytes(), {}, otherPublic).fault,
              QStringLiteral("Line 5: the checkpoint is signed with the key %1, not with the key %2")
                  .arg(kitStationKey().id(), other.id()));
    EXPECT_EQ(faultOfEnvelope([&](const QJsonObject& envelope) {
                  QJsonObject forged;
                  const QString payload = envelope.value(QLatin1String("payload")).toString();
                  EXPECT_TRUE(record::sealEnvelope(QByteArray::fromBase64(payload.toLatin1()), other, forged));
                  return withSignature(forged, "keyid", kitStationKey().id());
              }),
              QStringLiteral("Line 5: the signature of the checkpoint is wrong"));
}

TEST(VerifyRecord, NamesTheFaultOfAnEnvelope) {
    const auto wrong = [](const QString& sig) {
        return faultOfEnvelope([&](const QJsonObject& envelope) { return withSignature(envelope, "sig", sig); });
    };
    const QString isWrong = QStringLiteral("Line 5: the signature of the checkpoint is wrong");
    EXPECT_EQ(wrong(QString()), isWrong);
    EXPECT_EQ(wrong(QString::fromLatin1(QByteArray(63, '\1').toBase64())), isWrong);
    EXPECT_EQ(wrong(QString::fromLatin1(QByteArray(65, '\1').toBase64())), isWrong);
    EXPECT_EQ(wrong(QString::fromLatin1(QByteArray(64, '\1').toBase64())), isWrong);
    // The last letter of the base64 has bits that no byte uses.
    EXPECT_EQ(faultOfEnvelope([](const QJsonObject& envelope) {
                  QString sig = envelope.value(QLatin1String("signatures")).toArray().at(0)[u"sig"].toString();
                  sig[85] = QChar(sig.at(85).unicode() + 1);
                  return withSignature(envelope, "sig", sig);
              }),
              QStringLiteral("Line 5: in \"envelope\", in item 1 of \"signatures\", \"sig\" isn't base64"));
    EXPECT_EQ(faultOfEnvelope([](const QJsonObject& envelope) {
                  QJsonArray signatures = envelope.value(QLatin1String("signatures")).toArray();
                  signatures.append(signatures.at(0));
                  return kitWith(envelope, "signatures", signatures);
              }),
              QStringLiteral("Line 5: in \"envelope\", there isn't exactly one signature"));
    EXPECT_EQ(faultOfEnvelope([](const QJsonObject& envelope) {
                  return kitWith(envelope, "payloadType", QStringLiteral("text/plain"));
              }),
              QStringLiteral("Line 5: in \"envelope\", \"payloadType\" isn't \"application/vnd.in-toto+json\""));
    // A wrong payload is never parsed.
    EXPECT_EQ(faultOfEnvelope(
                  [](const QJsonObject& envelope) { return kitWith(envelope, "payload", QStringLiteral("QUFB")); }),
              isWrong);
}

// A checkpoint must agree with the lines, even if it has a good signature.
TEST(VerifyRecord, NamesTheFaultOfAStatement) {
    EXPECT_EQ(faultOfStatement([](QJsonObject&) {}), QString());
    const struct {
        QString fault;
        QString found;
    } cases[] = {
        {QStringLiteral("in the signed statement, in \"predicate\", there is an unknown member"),
         faultOfPredicate("more", 1)},
        {QStringLiteral("in the signed statement, \"firstLine\" isn't 1"), faultOfPredicate("firstLine", 2)},
        {QStringLiteral("in the signed statement, \"lastLine\" isn't 2"), faultOfPredicate("lastLine", 3)},
        {QStringLiteral("in the signed statement, \"station\" isn't \"line-1\""),
         faultOfPredicate("station", QStringLiteral("line-2"))},
        {QStringLiteral("in the signed statement, in \"predicate\", \"time\" isn't a time such as "
                        "\"2026-11-26T06:00:00.123Z\""),
         faultOfPredicate("time", QStringLiteral("now"))},
        {QStringLiteral("in the signed statement, \"predicateType\" isn't "
                        "\"https://qvora.invalid/production-record/v1\""),
         faultOfStatement([](QJsonObject& statement) {
             statement = kitWith(statement, "predicateType", QStringLiteral("https://slsa.dev/provenance/v1"));
         })},
        {QStringLiteral("in the signed statement, \"_type\" isn't \"https://in-toto.io/Statement/v1\""),
         faultOfStatement([](QJsonObject& statement) { statement = kitWith(statement, "_type", QString()); })},
        {QStringLiteral("in the signed statement, \"subject\" is missing"),
         faultOfStatement([](QJsonObject& statement) { statement = kitWithout(statement, "subject"); })},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(row.found, QStringLiteral("Line 3: ") + row.fault);
    }
    const QString wrongSubjects = QStringLiteral("Line 3: the subjects aren't the 3 outputs of the lines from 1 to 2");
    EXPECT_EQ(faultOfSubjects([](QJsonArray& subjects) { subjects.removeLast(); }), wrongSubjects);
    EXPECT_EQ(faultOfSubjects([](QJsonArray& subjects) { subjects = {}; }), wrongSubjects);
    EXPECT_EQ(faultOfSubjects([](QJsonArray& subjects) { subjects.append(subjects.first()); }), wrongSubjects);
    EXPECT_EQ(faultOfSubjects([](QJsonArray& subjects) { subjects.append(subjects.takeAt(0)); }), wrongSubjects);
    EXPECT_EQ(faultOfSubjects([](QJsonArray& subjects) {
                  subjects.replace(0, kitWith(subjects.at(0).toObject(), "name", QStringLiteral("A-0002/x")));
              }),
              wrongSubjects);

    for (const auto& [text, fault] :
         {std::pair(QByteArray("{}"), "in the signed statement, \"_type\" is missing"),
          std::pair(QByteArray(""), "the signed statement isn't a JSON object"),
          std::pair(QByteArray("{ }"), "the signed statement isn't in the canonical form of RFC 8785"),
          std::pair("{\"a\":" + QByteArray(99, '['),
                    "the signed statement has more than 16 levels or 1048576 values")}) {
        KitWriter writer;
        writer.add(kitStart());
        writer.addSigned(text);
        EXPECT_EQ(faultOf(writer), QStringLiteral("Line 2: ") + QLatin1String(fault));
    }
}

TEST(VerifyRecord, NamesTheFaultOfALine) {
    const auto faultOfLine = [](const QJsonObject& body) {
        KitWriter writer;
        writer.add(kitStart());
        writer.add(body);
        return faultOf(writer);
    };
    EXPECT_EQ(faultOfLine(kitWithout(kitDevice(), "serial")), QStringLiteral("Line 2: \"serial\" is missing"));
    EXPECT_EQ(faultOfLine(kitWith(kitDevice(), "station", QStringLiteral("line-2"))),
              QStringLiteral("Line 2: the station is \"line-2\", but that of earlier lines is \"line-1\""));
    EXPECT_EQ(faultOfLine(kitEnd(1, 0, 0)), QStringLiteral("Line 2: \"counts\" isn't "
                                                           "{\"failed\":0,\"interrupted\":0,\"proven\":0}, the devices "
                                                           "since the start of the run"));
    EXPECT_EQ(faultOfLine(kitEnd(0, 0, 0)), QString());
    KitWriter writer;
    writer.add(kitStart());
    writer.add(kitEnd(0, 0, 0));
    writer.add(kitEnd(0, 0, 0));
    EXPECT_EQ(faultOf(writer), QStringLiteral("Line 3: a run ends that hasn't started"));
    writer = {};
    writer.addText("{}");
    EXPECT_EQ(faultOf(writer), QStringLiteral("Line 1: \"number\" isn't 1; a line was removed, inserted or moved"));
    writer = {};
    writer.addText(R"({"number":1})");
    EXPECT_EQ(faultOf(writer), QStringLiteral("Line 1: \"previous\" isn't the hash of the line before, %1; "
                                              "one of both was changed")
                                   .arg(QString(64, u'0')));
    EXPECT_EQ(verdictOf("\n").fault, QStringLiteral("Line 1: the line isn't a JSON object"));
    EXPECT_EQ(verdictOf(kitSmallRecord().bytes().replace("\n", "\r\n")).fault,
              QStringLiteral("Line 1: the line isn't in the canonical form of RFC 8785"));
    EXPECT_EQ(verdictOf(QByteArray(record::mostLineBytes + 1, ' ') + '\n').fault,
              QStringLiteral("Line 1: the line has more than 67108864 bytes"));
}

// A run that was killed has no end line. The end line of the next run counts only the devices of that run.
TEST(VerifyRecord, AcceptsARunWithoutAnEnd) {
    KitWriter writer;
    writer.add(kitStart());
    writer.add(kitDevice());
    writer.add(kitStart());
    writer.add(kitDevice());
    writer.add(kitWith(kitFailedDevice(), "verdict", QStringLiteral("interrupted")));
    writer.add(kitEnd(1, 0, 1));
    writer.addCheckpoint();
    EXPECT_EQ(faultOf(writer), QString());
}

TEST(VerifyRecord, ReportsFilesThatCantBeRead) {
    const TempFolder folder;
    EXPECT_EQ(verifyRecord(folder.path("missing"), kitPublicPem()).fault,
              QStringLiteral("The record %1 can't be opened: No such file or directory").arg(folder.path("missing")));
    const Verdict noKey = verdictOf(kitSmallRecord().bytes(), {}, "");
    EXPECT_EQ(noKey.fault, QStringLiteral("The public key is not a valid P-256 public key in PEM form"));
    EXPECT_EQ(noKey.lines, 0);
    EXPECT_FALSE(verifyRecord(folder.path(""), kitPublicPem()).isGood) << "a folder";
}
