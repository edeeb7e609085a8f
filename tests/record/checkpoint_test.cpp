#include "record/checkpoint.h"

#include "Preparation/primitives/Sha256.h"
#include "record/StationKey.h"
#include "record/envelope.h"
#include "tests/record/RecordKit.h"
#include "tests/support/outsideTool.h"

#include <QJsonArray>

#include <gtest/gtest.h>

namespace {

using record::ChainHead;
using record::Pending;

QByteArray payloadOf(const QJsonObject& body) {
    const QJsonObject envelope = body.value(QLatin1String("envelope")).toObject();
    return QByteArray::fromBase64(envelope.value(QLatin1String("payload")).toString().toLatin1());
}

}  // namespace

// The vector of the DSSE protocol.
TEST(Envelope, EncodesWithExactByteLengths) {
    EXPECT_EQ(record::preAuthEncoding("http://example.com/HelloWorld", "hello world"),
              "DSSEv1 29 http://example.com/HelloWorld 11 hello world");
    EXPECT_EQ(record::preAuthEncoding("", ""), "DSSEv1 0  0 ");
    EXPECT_EQ(record::preAuthEncoding("t", "\u20ac\n"), "DSSEv1 1 t 4 \u20ac\n");
    EXPECT_EQ(record::preAuthEncoding("t", QByteArray(10, '\0')), "DSSEv1 1 t 10 " + QByteArray(10, '\0'));
}

// The key that the DSSE protocol publishes (X and Y of its point), and the deterministic signature (RFC 6979) of the
// vector above.
TEST(Envelope, VerifiesThePublishedSignature) {
    const QByteArray header = QByteArray::fromHex("3059301306072a8648ce3d020106082a8648ce3d03010703420004");
    const QByteArray point = QByteArray::fromHex(
        "67cd390f77aa359cb08c2235f652270493a9ed832b0abcc01f70954c0390d238"
        "0c782bd54e269125a44f4433aff1432ce94e12bca73aa67ac80cea12608ddf74");
    const QByteArray pem =
        "-----BEGIN PUBLIC KEY-----\n" + (header + point).toBase64() + "\n-----END PUBLIC KEY-----\n";
    record::StationPublicKey key;
    QString fault;
    ASSERT_TRUE(key.parse(pem, fault)) << qUtf8Printable(fault);
    const QByteArray signature = QByteArray::fromBase64(
        "A3JqsQGtVsJ2O2xqrI5IcnXip5GToJ3F+FnZ+O88SjtR6rDAajabZKciJTfUiHqJPcIAriEGAHTVeCUjW2JIZA==");
    EXPECT_EQ(key.verify(record::preAuthEncoding("http://example.com/HelloWorld", "hello world"), signature),
              record::StationPublicKey::Check::holds);
    EXPECT_EQ(key.verify("hello world", signature), record::StationPublicKey::Check::doesNotHold);
}

TEST(Checkpoint, StatesTheLinesAndTheOutputs) {
    ChainHead head;
    Pending pending;
    EXPECT_EQ(pending.lines(), 0);
    for (const QJsonObject& body : {kitStart(), kitDevice(), kitFailedDevice(), kitDevice("A-9")}) {
        ASSERT_NE(record::nextLine(body, head), "");
        pending.add(body, head);
    }
    EXPECT_EQ(pending.lines(), 4);
    const QByteArray lastHash = head.hash.toHex();
    QJsonObject body;
    ASSERT_TRUE(pending.takeCheckpoint(kitStationKey(), kitStation, kitTime, body));
    EXPECT_EQ(pending.lines(), 0);
    const QByteArray zeros(63, '0');
    const auto subject = [&zeros](const char* digit, const char* name) {
        return R"({"digest":{"sha256":")" + QByteArray(digit) + zeros + R"("},"name":")" + name + "\"}";
    };
    const QByteArray expected =
        R"({"_type":"https://in-toto.io/Statement/v1","predicate":{"counts":{"failed":1,"interrupted":0,"outputs":6,)"
        R"("proven":2},"firstLine":1,"lastHash":")" +
        lastHash +
        R"(","lastLine":4,"station":"line-1","time":"2026-11-26T06:00:00.123Z"},)"
        R"("predicateType":"https://qvora.invalid/production-record/v1","subject":[)" +
        subject("1", "A-0001/firmware.tbi") + ',' + subject("2", "A-0001/map") + ',' +
        subject("3", "A-0001/secrets.pvs") + ',' + subject("1", "A-9/firmware.tbi") + ',' + subject("2", "A-9/map") +
        ',' + subject("3", "A-9/secrets.pvs") + "]}";
    EXPECT_EQ(payloadOf(body).toStdString(), expected.toStdString());

    // The next checkpoint covers only new lines. Without outputs, its subject is its last line.
    static_cast<void>(record::nextLine(body, head));
    pending.add(body, head);
    EXPECT_EQ(pending.lines(), 0);
    static_cast<void>(record::nextLine(kitFailedDevice(), head));
    pending.add(kitFailedDevice(), head);
    ASSERT_TRUE(pending.takeCheckpoint(kitStationKey(), kitStation, kitTime, body));
    const QByteArray payload = payloadOf(body);
    EXPECT_TRUE(payload.contains(R"("firstLine":6,"lastHash":")" + head.hash.toHex() + R"(","lastLine":6,)"));
    EXPECT_TRUE(
        payload.endsWith(R"("subject":[{"digest":{"sha256":")" + head.hash.toHex() + R"("},"name":"line 6"}]})"))
        << payload.constData();
}

TEST(Checkpoint, KeepsItsLinesIfItCantBeMade) {
    ChainHead head;
    Pending pending;
    QJsonObject body = {{QStringLiteral("kept"), 1}};
    EXPECT_FALSE(pending.takeCheckpoint(kitStationKey(), kitStation, kitTime, body)) << "without lines";
    static_cast<void>(record::nextLine(kitStart(), head));
    pending.add(kitStart(), head);
    EXPECT_FALSE(pending.takeCheckpoint(record::StationKey(), kitStation, kitTime, body)) << "without a key";
    EXPECT_FALSE(pending.takeCheckpoint(kitStationKey(), kitStation, QStringLiteral("today"), body))
        << "with a wrong time";
    EXPECT_FALSE(pending.takeCheckpoint(kitStationKey(), QString(), kitTime, body)) << "without a station";
    EXPECT_EQ(pending.lines(), 1);
    EXPECT_EQ(body.size(), 1);
    EXPECT_TRUE(pending.takeCheckpoint(kitStationKey(), kitStation, kitTime, body));
}

// After a restart, the caller adds all lines again.
TEST(Checkpoint, ForgetsLinesBeforeACheckpoint) {
    const KitWriter writer = kitRecord();
    ChainHead head;
    Pending pending;
    for (const QByteArray& line : writer.lines()) {
        ASSERT_TRUE(record::advance(head, line));
        pending.add(kitObject(line), head);
    }
    EXPECT_EQ(pending.lines(), 0);
    EXPECT_EQ(head.number, writer.head().number);
    EXPECT_EQ(head.hash, writer.head().hash);
}
