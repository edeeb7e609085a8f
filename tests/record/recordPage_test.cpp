#include "record/canonicalJson.h"
#include "record/verify.h"
#include "tests/record/RecordKit.h"
#include "tests/support/outsideTool.h"

#include <QCryptographicHash>
#include <QJsonArray>

#include <random>

#include <gtest/gtest.h>

// docs/record.md is all that an auditor has. These tests run its commands and its program, and compare their verdicts
// with those of verifyRecord().

namespace {

QByteArrayList blocksOf(const char* language) {
    const QByteArray page = fileContent(QStringLiteral(QVORA_PAGE));
    const QByteArray start = "\n```" + QByteArray(language) + '\n';
    QByteArrayList blocks;
    for (qsizetype at = page.indexOf(start); at >= 0; at = page.indexOf(start, at)) {
        at += start.size();
        blocks.append(page.mid(at, page.indexOf("```", at) - at));
    }
    return blocks;
}

/// Runs the program of the page on records. The program prints one line for each record.
class PageProgram {
  public:
    void add(const QByteArray& bytes) {
        paths_.append(folder_.write(QByteArray::number(paths_.size()).constData(), bytes));
        records_.append(bytes);
    }

    void compare(bool allGood) {
        const QByteArrayList programs = blocksOf("python");
        ASSERT_EQ(programs.size(), 1);
        QProcess process;
        process.start(QStringLiteral("python3"), QStringList{folder_.write("verify_record.py", programs.first()),
                                                             folder_.write("station.pub", kitPublicPem())} +
                                                     paths_);
        ASSERT_TRUE(process.waitForFinished(-1));
        EXPECT_EQ(process.exitCode(), allGood ? 0 : 1);
        EXPECT_EQ(process.readAllStandardError(), "");
        const QStringList lines = QString::fromUtf8(process.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
        ASSERT_EQ(lines.size(), paths_.size());
        for (qsizetype i = 0; i < lines.size(); ++i) {
            const record::Verdict verdict = record::verifyRecord(paths_.at(i), kitPublicPem());
            const QString hash = verdict.lines == 0 ? QString(64, u'0') : QString::fromLatin1(verdict.lastHash.toHex());
            const QString counts =
                QStringLiteral(
                    ". Lines: %1, proven devices: %2, recalls: %3, checkpoints: %4, lines after the last: %5, "
                    "last hash: %6")
                    .arg(verdict.lines)
                    .arg(verdict.devices)
                    .arg(verdict.recalls)
                    .arg(verdict.checkpoints)
                    .arg(verdict.unsignedLines)
                    .arg(hash);
            const QString start = paths_.at(i) + QStringLiteral(": ");
            const QString summary = verdict.isSigned() ? QStringLiteral("good")
                                    : verdict.isGood   ? QStringLiteral("NOT SIGNED")
                                                       : QStringLiteral("FAULT, line %1 ").arg(verdict.faultLine);
            EXPECT_TRUE(lines.at(i).startsWith(start + summary + (verdict.isGood ? counts : QString())) &&
                        (verdict.isGood || lines.at(i).endsWith(counts)))
                << qUtf8Printable(lines.at(i)) << "\nours: " << qUtf8Printable(verdict.fault) << qUtf8Printable(counts)
                << '\n'
                << records_.at(i).constData();
        }
    }

  private:
    const TempFolder folder_;
    QStringList paths_;
    QByteArrayList records_;
};

}  // namespace

TEST(RecordPage, ItsCommandsVerifyACheckpoint) {
    const QByteArrayList blocks = blocksOf("sh");
    ASSERT_EQ(blocks.size(), 4);
    const KitWriter writer = kitSmallRecord();
    const TempFolder folder;
    folder.write("station.pub", kitPublicPem());
    folder.write("record.jsonl", writer.bytes());
    const QByteArray image = "the bytes of an image";
    folder.write("firmware.tbi", image);
    const auto run = [&folder](const QByteArray& block) {
        QProcess process;
        process.setWorkingDirectory(folder.path(""));
        process.start(QStringLiteral("sh"), {QStringLiteral("-ec"), QString::fromUtf8(block)});
        EXPECT_TRUE(process.waitForFinished(-1));
        return process.readAllStandardOutput();
    };
    const QJsonObject second = kitObject(writer.lines().at(1));
    EXPECT_EQ(run(blocks.at(0)), second.value(QLatin1String("previous")).toString().toLatin1() + "  -\n");
    EXPECT_EQ(run(blocks.at(1)), kitStationKey().id().toLatin1() + "  -\n");
    EXPECT_EQ(run(blocks.at(2)), "Verified OK\n");
    EXPECT_EQ(run(blocks.at(3)), "");

    QByteArrayList lines = writer.lines();
    QJsonObject checkpoint = kitObject(lines.takeLast());
    QJsonObject envelope = checkpoint.value(QLatin1String("envelope")).toObject();
    envelope = kitWith(envelope, "payload", QStringLiteral("e30="));
    lines.append(record::canonicalJson(kitWith(checkpoint, "envelope", envelope)));
    const QByteArray digest = QCryptographicHash::hash(image, QCryptographicHash::Sha256).toHex();
    lines[1].replace("1" + QByteArray(63, '0'), digest);
    folder.write("record.jsonl", kitBytes(lines));
    EXPECT_EQ(run(blocks.at(2)), "Verification failure\n");
    EXPECT_EQ(run(blocks.at(3)), lines.at(1) + '\n');
}

TEST(RecordPage, ItsProgramAcceptsGoodRecords) {
    PageProgram program;
    program.add(kitRecord().bytes());
    program.add(kitSmallRecord().bytes());
    KitWriter writer = kitSmallRecord();
    writer.add(kitStart());
    program.add(writer.bytes());
    program.compare(true);
}

TEST(RecordPage, ItsProgramFindsTamperedRecords) {
    PageProgram program;
    const KitWriter good = kitRecord();
    const QByteArray bytes = good.bytes();
    std::mt19937 random(1);
    const auto number = [&random](qsizetype most) { return std::uniform_int_distribution<qsizetype>(0, most)(random); };
    for (int i = 0; i < 60; ++i) {
        QByteArray changed = bytes;
        const qsizetype at = number(bytes.size() - 1);
        changed[at] = static_cast<char>(changed.at(at) ^ (1 << number(7)));
        program.add(changed);
        program.add(bytes.first(at));
    }
    for (qsizetype i = 0; i < good.lines().size(); ++i) {
        QByteArrayList lines = good.lines();
        lines.removeAt(i);
        program.add(kitBytes(lines));
        program.add(kitBytes(good.lines().first(i)));
        lines = good.lines();
        lines.swapItemsAt(i, number(lines.size() - 1));
        program.add(kitBytes(lines));
        lines = good.lines();
        lines.insert(number(lines.size()), lines.at(i));
        program.add(kitBytes(lines));
    }
    program.compare(false);
}

// Lines and statements with a wrong member, chained and signed as good ones.
TEST(RecordPage, ItsProgramChecksEveryMember) {
    const QJsonValue values[] = {
        QJsonValue::Null, true,         1, 0, -1, QString(), QStringLiteral("x"), QString(64, u'0'),
        QJsonArray{},     QJsonObject{}};
    PageProgram program;
    const auto addMutants = [&values](const QJsonObject& object, const auto& add) {
        add(kitWith(object, "unknown", 1));
        for (const QString& key : object.keys()) {
            const QByteArray name = key.toUtf8();
            add(kitWithout(object, name.constData()));
            for (const QJsonValue& value : values) {
                add(kitWith(object, name.constData(), value));
            }
        }
    };
    const QJsonObject bodies[] = {kitStart(),  kitDevice(), kitFailedDevice(), kitRecall(),
                                  kitRetire(), kitEpoch(),  kitImport(),       kitEnd(0, 0, 0)};
    for (const QJsonObject& body : bodies) {
        addMutants(body, [&program](const QJsonObject& mutant) {
            KitWriter writer;
            writer.add(kitStart());
            writer.add(mutant);
            program.add(writer.bytes());
        });
    }
    const QJsonObject device = kitDevice();
    const QJsonObject step = device.value(QLatin1String("steps")).toArray().at(0).toObject();
    const auto addStep = [&](const QJsonObject& mutant) {
        KitWriter writer;
        writer.add(kitWith(device, "steps", QJsonArray{mutant}));
        program.add(writer.bytes());
    };
    addMutants(step, addStep);
    for (const char* list : {"inputs", "outputs", "ivs"}) {
        addMutants(step.value(QLatin1String(list)).toArray().at(0).toObject(),
                   [&](const QJsonObject& mutant) { addStep(kitWith(step, list, QJsonArray{mutant})); });
    }
    KitWriter start;
    start.add(kitStart());
    start.add(kitDevice());
    const QJsonObject statement = start.statement();
    const auto addStatement = [&](const QJsonObject& mutant) {
        KitWriter writer = start;
        writer.addSigned(record::canonicalJson(mutant));
        program.add(writer.bytes());
    };
    addMutants(statement, addStatement);
    const QJsonObject predicate = statement.value(QLatin1String("predicate")).toObject();
    addMutants(predicate, [&](const QJsonObject& mutant) { addStatement(kitWith(statement, "predicate", mutant)); });
    addMutants(predicate.value(QLatin1String("counts")).toObject(), [&](const QJsonObject& mutant) {
        addStatement(kitWith(statement, "predicate", kitWith(predicate, "counts", mutant)));
    });
    QJsonArray subjects = statement.value(QLatin1String("subject")).toArray();
    addMutants(subjects.at(0).toObject(), [&](const QJsonObject& mutant) {
        subjects.replace(0, mutant);
        addStatement(kitWith(statement, "subject", subjects));
    });
    const QJsonObject envelope = kitObject(kitSmallRecord().lines().last()).value(QLatin1String("envelope")).toObject();
    addMutants(envelope, [&](const QJsonObject& mutant) {
        KitWriter writer = start;
        writer.add({{QStringLiteral("kind"), QStringLiteral("checkpoint")}, {QStringLiteral("envelope"), mutant}});
        program.add(writer.bytes());
    });
    // Texts that are no JSON, or JSON in another form.
    for (const char* text : {"", "{", "[]", "{} ", "{\"a\":NaN}", "{\"a\":1.5}", "{\"a\":\"\\ud800\"}",
                             "{\"a\":\"\x80\"}", "{\"a\":1,\"a\":1}", "{\"number\":true}"}) {
        program.add(QByteArray(text) + '\n');
    }
    program.add(QByteArray(100000, '[') + '\n');
    program.compare(false);
}
