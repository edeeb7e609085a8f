#include "record/lineForm.h"

#include "record/canonicalJson.h"
#include "tests/record/RecordKit.h"
#include "tests/support/outsideTool.h"

#include <QJsonArray>

#include <set>

#include <gtest/gtest.h>

namespace {

using record::lineFault;

/// Every value that differs from `value` in one place: a member or item removed, added or replaced.
QList<QJsonValue> mutants(const QJsonValue& value);

const QList<QJsonValue>& replacements() {
    static const QList<QJsonValue> values = {
        QJsonValue::Null,
        true,
        -1,
        0,
        1,
        qint64{9007199254740991},
        QString(),
        QStringLiteral("proven"),
        QStringLiteral("failed"),
        QStringLiteral("interrupted"),
        QStringLiteral("Proven"),
        QString(16, u'0'),
        QString(32, u'a'),
        QString(64, u'f'),
        QString(64, u'F'),
        QString(64, u'g'),
        QString(63, u'0'),
        QString(65, u'0'),
        QStringLiteral("QQ=="),
        QStringLiteral("QR=="),
        QStringLiteral("QUE="),
        QStringLiteral("QUF="),
        QStringLiteral("QUE"),
        QStringLiteral("QU-_"),
        QStringLiteral("QUFB\u00e9"),
        QJsonArray{},
        QJsonArray{1},
        QJsonArray{QJsonObject{}},
        QJsonObject{},
        QJsonObject{{QStringLiteral("tool"), QStringLiteral("1")}},
        QJsonObject{{QStringLiteral("a b"), QStringLiteral("1")}},
    };
    return values;
}

const QList<QJsonValue>& times() {
    static const QList<QJsonValue> values = {
        QStringLiteral("2024-02-29T23:59:59.999Z"), QStringLiteral("2026-13-01T00:00:00.000Z"),
        QStringLiteral("2026-01-00T00:00:00.000Z"), QStringLiteral("2026-01-01T24:00:00.000Z"),
        QStringLiteral("2026-01-01T00:60:00.000Z"), QStringLiteral("2026-01-01T00:00:60.000Z"),
        QStringLiteral("2026-01-01T00:00:00.00Z"),  QStringLiteral("2026-01-01T00:00:00.000"),
        QStringLiteral("2026-01-01T00:00:00Z"),     QStringLiteral("2026-01-01 00:00:00.000Z"),
    };
    return values;
}

void appendMutants(const QJsonObject& object, QList<QJsonValue>& all) {
    all.append(kitWith(object, "unknown", 1));
    for (auto member = object.constBegin(); member != object.constEnd(); ++member) {
        const QByteArray name = member.key().toUtf8();
        all.append(kitWithout(object, name.constData()));
        for (const QJsonValue& mutant : mutants(member.value())) {
            all.append(kitWith(object, name.constData(), mutant));
        }
    }
}

void appendMutants(const QJsonArray& array, QList<QJsonValue>& all) {
    for (qsizetype i = 0; i < array.size(); ++i) {
        QJsonArray changed = array;
        changed.append(array.at(i));
        all.append(changed);
        changed = array;
        changed.removeAt(i);
        all.append(changed);
        for (const QJsonValue& mutant : mutants(array.at(i))) {
            changed = array;
            changed.replace(i, mutant);
            all.append(changed);
        }
    }
}

QList<QJsonValue> mutants(const QJsonValue& value) {
    QList<QJsonValue> all = replacements();
    if (value.toString().endsWith(u'Z')) {
        all.append(times());
    }
    if (value.isObject()) {
        appendMutants(value.toObject(), all);
    } else if (value.isArray()) {
        appendMutants(value.toArray(), all);
    }
    return all;
}

QJsonObject inStep(const char* member, const QJsonValue& value) {
    QJsonObject device = kitDevice();
    QJsonArray steps = device.value(QLatin1String("steps")).toArray();
    steps.replace(1, kitWith(steps.at(1).toObject(), member, value));
    return kitWith(device, "steps", steps);
}

QJsonArray inputs(const QByteArray& members) {
    return {kitObject(R"({"field": "f", "name": "n")" + members + "}")};
}

}  // namespace

TEST(LineForm, NamesTheFault) {
    const QByteArray digest(64, 'a');
    const struct {
        QJsonObject line;
        std::string fault;
    } cases[] = {
        {{}, "\"kind\" is missing or unknown"},
        {kitWith(kitStart(), "kind", QStringLiteral("begin")), "\"kind\" is missing or unknown"},
        {kitWith(kitStart(), "kind", 1), "\"kind\" is missing or unknown"},
        {kitWithout(kitStart(), "time"), "\"time\" is missing"},
        {kitWith(kitStart(), "time", QStringLiteral("2026-02-30T00:00:00.000Z")),
         "\"time\" isn't a time such as \"2026-11-26T06:00:00.123Z\""},
        {kitWith(kitStart(), "station", QString()), "\"station\" isn't a text that isn't empty"},
        {kitWith(kitStart(), "job", QStringLiteral("AB")), "\"job\" isn't 64 hexadecimal digits in lower case"},
        {kitWith(kitStart(), "versions", QJsonObject{}), "\"versions\" isn't an object of program names and versions"},
        {kitWith(kitStart(), "extra", 1), "there is an unknown member"},
        {kitWith(kitDevice(), "attempt", 0), "\"attempt\" isn't a whole number from 1 and below 2^53"},
        {kitWith(kitDevice(), "verdict", QStringLiteral("good")),
         "\"verdict\" isn't \"proven\", \"failed\" or \"interrupted\""},
        {kitWith(kitDevice(), "reason", QJsonValue::Null), "\"reason\" isn't a text"},
        {kitWith(kitDevice(), "reason", QStringLiteral("x")), "a proven device has a reason"},
        {kitWith(kitDevice(), "steps", 1), "\"steps\" isn't a list of objects"},
        {kitWith(kitDevice(), "steps", QJsonArray{1}), "in item 1 of \"steps\", there is no object"},
        {inStep("verdict", QStringLiteral("failed")), "a proven device has a step that isn't proven"},
        {inStep("milliseconds", -1),
         "in item 2 of \"steps\", \"milliseconds\" isn't a whole number from 0 and below 2^53"},
        {inStep("extra", 1), "in item 2 of \"steps\", there is an unknown member"},
        {inStep("ivs", QJsonArray{QJsonObject{{QStringLiteral("fingerprint"), QLatin1String(digest)}}}),
         "in item 2 of \"steps\", in item 1 of \"ivs\", \"part\" is missing"},
        {inStep("inputs", inputs("")),
         "in item 2 of \"steps\", in item 1 of \"inputs\", it needs either \"sha256\" or \"fingerprint\""},
        {inStep("inputs", inputs(R"(, "sha256": ")" + digest + R"(", "size": 1, "fingerprint": ")" + digest + '"')),
         "in item 2 of \"steps\", in item 1 of \"inputs\", it needs either \"sha256\" or \"fingerprint\""},
        {inStep("inputs", inputs(R"(, "sha256": ")" + digest + '"')),
         "in item 2 of \"steps\", in item 1 of \"inputs\", \"size\" is missing"},
        {kitWith(kitEnd(1, 1, 1), "counts", QJsonObject{}), "in \"counts\", \"failed\" is missing"},
        {kitWith(kitEpoch(), "epoch", QLatin1String(digest)), "\"epoch\" isn't 16 hexadecimal digits in lower case"},
        {kitWith(kitImport(), "ivs",
                 QJsonArray{QJsonObject{{QStringLiteral("fingerprint"), QLatin1String(digest)},
                                        {QStringLiteral("part"), QLatin1String(digest)}}}),
         "in item 1 of \"ivs\", \"part\" isn't 16 or 32 hexadecimal digits in lower case"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(lineFault(row.line).toStdString(), row.fault);
    }
}

TEST(LineForm, AcceptsEveryKind) {
    const QJsonObject lines[] = {kitStart(),
                                 kitDevice(),
                                 kitFailedDevice(),
                                 kitEnd(1, 2, 3),
                                 kitRecall(),
                                 kitRetire(),
                                 kitWith(kitRetire(), "reason", QStringLiteral("lost")),
                                 kitEpoch(),
                                 kitWithout(kitEpoch(), "reason"),
                                 kitImport()};
    for (const QJsonObject& line : lines) {
        EXPECT_EQ(lineFault(line), QString()) << record::canonicalJson(line).constData();
    }
}

TEST(LineForm, WritesTimesInUtc) {
    const QDateTime time(QDate(2026, 11, 26), QTime(7, 0, 0, 5), Qt::OffsetFromUTC, 3600);
    EXPECT_EQ(record::timeText(time), QStringLiteral("2026-11-26T06:00:00.005Z"));
    EXPECT_EQ(lineFault(kitWith(kitStart(), "time", record::timeText(QDateTime::currentDateTime()))), QString());
}

// The published schema and the code accept the same lines.
TEST(LineForm, AgreesWithTheSchema) {
    const KitWriter writer = kitRecord();
    KitWriter unsignedLines;
    unsignedLines.add(kitDevice());
    QList<std::pair<QJsonObject, bool>> objects = {{unsignedLines.statement(), true}};
    std::set<QString> shapes;
    for (const QByteArray& line : writer.lines()) {
        const QJsonObject object = kitObject(line);
        const QString kind = object.value(QLatin1String("kind")).toString();
        if (shapes.insert(kind + object.value(QLatin1String("verdict")).toString()).second) {
            objects.append({object, false});
        }
    }
    QByteArrayList lines;
    QByteArray verdicts;
    int good = 0;
    for (const auto& [object, isStatement] : objects) {
        QList<QJsonValue> all;
        appendMutants(object, all);
        all.append(object);
        for (const QJsonValue& mutant : all) {
            // The chain, not the form, decides on these two members.
            const QJsonObject value = kitWith(kitWith(mutant.toObject(), "number", 1), "previous", QString(64, u'0'));
            const QJsonObject checked = isStatement ? mutant.toObject() : value;
            const bool isGood = (isStatement ? record::statementFault(checked) : lineFault(checked)).isEmpty();
            good += isGood ? 1 : 0;
            verdicts += isGood ? "yes\n" : "no\n";
            lines.append(record::canonicalJson(
                QJsonObject{{QStringLiteral("isStatement"), isStatement}, {QStringLiteral("value"), checked}}));
        }
    }
    const TempFolder folder;
    const QByteArray judged =
        outsideTool(QStringLiteral("python3"), {QStringLiteral(QVORA_JUDGES "/judgeSchema.py"),
                                                QStringLiteral(QVORA_SCHEMA), folder.write("cases", kitBytes(lines))});
    const QByteArrayList ours = verdicts.split('\n');
    const QByteArrayList theirs = judged.split('\n');
    ASSERT_EQ(ours.size(), theirs.size());
    for (qsizetype i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(ours.at(i), theirs.at(i)) << lines.at(i).constData();
    }
    EXPECT_GT(good, 100);
    EXPECT_GT(lines.size() - good, 1000);
}
