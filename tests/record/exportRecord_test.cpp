#include "record/exportRecord.h"

#include "tests/record/RecordKit.h"
#include "tests/support/outsideTool.h"

#include <QCryptographicHash>
#include <QJsonArray>

#include <gtest/gtest.h>

namespace {

using Export = bool (*)(const QString&, const PieceWriter&, QString&);

QByteArray exported(Export operation, const QByteArray& bytes, std::string expectedFault = "") {
    const TempFolder folder;
    QByteArray result;
    QString fault;
    const bool isGood = operation(
        folder.write("record.jsonl", bytes),
        [&result](QByteArrayView piece) {
            result += piece;
            return true;
        },
        fault);
    EXPECT_EQ(fault.toStdString(), expectedFault);
    EXPECT_EQ(isGood, expectedFault.empty());
    return result;
}

}  // namespace

TEST(ExportRecord, GivesTheEnvelopesOfTheCheckpoints) {
    const KitWriter writer = kitRecord();
    QByteArray expected;
    for (const qsizetype line : {4, 9, 11}) {
        const QByteArray text = writer.lines().at(line);
        expected += text.mid(12, text.indexOf(R"(,"kind":)") - 12) + '\n';
    }
    EXPECT_TRUE(expected.startsWith(R"({"payload":")")) << expected.constData();
    EXPECT_EQ(exported(record::exportInToto, writer.bytes()), expected);
    EXPECT_EQ(exported(record::exportInToto, ""), "");
}

TEST(ExportRecord, WritesATable) {
    KitWriter writer;
    writer.add(kitStart());
    writer.add(kitDevice());
    writer.add(kitFailedDevice());
    writer.add(kitWith(kitWith(kitFailedDevice(), "steps", QJsonArray{}), "reason", QStringLiteral("=1+1")));
    writer.add(kitRecall());
    writer.addCheckpoint();
    const QByteArray zeros(63, '0');
    const QByteArray header = "time,station,product,serial,attempt,verdict,step,output,size,sha256,reason\r\n";
    const QByteArray first = "2026-11-26T06:00:01.000Z,line-1,meter-a,A-0001,1,proven,";
    EXPECT_EQ(exported(record::exportCsv, writer.bytes()).toStdString(),
              (header + first + "install-image,firmware.tbi,65600,1" + zeros + ",\r\n" + first +
               "install-image,map,0,2" + zeros + ",\r\n" + first + "provisioning-payload,secrets.pvs,200,3" + zeros +
               ",\r\n"
               "2026-11-26T06:00:02.000Z,line-1,meter-a,A-0002,2,failed,install-image,firmware.tbi,9,4" +
               zeros +
               ",\"\"\"app.elf\"\" isn't there,\nsaid the tool: \a \u00fc \u20ac \U0001f600\"\r\n"
               "2026-11-26T06:00:02.000Z,line-1,meter-a,A-0002,2,failed,,,,,'=1+1\r\n"
               "2026-11-26T06:00:04.000Z,line-1,meter-a,A-0001,1,recalled,,,,,wrong table\r\n")
                  .toStdString());
    EXPECT_EQ(exported(record::exportCsv, ""), header);
}

// Python's reader returns each field unchanged, and no field can be read as a formula.
TEST(ExportRecord, WritesFieldsThatAreSafeInATable) {
    const QByteArrayList serials = {"=1+1", "+1", "-1",   "@a",   "\t=1", "\r=1", "\n=1", "'=1",   "a,b",
                                    "a\"b", "\"", "a\nb", "a\rb", " =1",  "a=1",  ",",    "\u20ac"};
    KitWriter writer;
    QByteArrayList expected;
    for (const QByteArray& serial : serials) {
        writer.add(kitWith(kitRecall(), "serial", QString::fromUtf8(serial)));
        const bool isFormula = QByteArray("=+-@\t\r\n").contains(serial.at(0));
        expected.append((isFormula ? "'" : "") + serial);
    }
    const TempFolder folder;
    const QString path = folder.write("table.csv", exported(record::exportCsv, writer.bytes()));
    const QString program = QStringLiteral(
        "import csv, sys\n"
        "rows = list(csv.reader(open(sys.argv[1], encoding='utf-8', newline='')))\n"
        "assert all(len(row) == 11 for row in rows)\n"
        "sys.stdout.buffer.write('\\0'.join(row[3] for row in rows[1:]).encode())");
    EXPECT_EQ(outsideTool(QStringLiteral("python3"), {QStringLiteral("-c"), program, path}), expected.join('\0'));
}

TEST(ExportRecord, ReportsFaults) {
    const QByteArray good = kitSmallRecord().bytes();
    for (const Export operation : {record::exportInToto, record::exportCsv}) {
        exported(operation, good.chopped(1),
                 "Line 5: the line has no line break at its end; its writing was interrupted");
        const QByteArray changed = QByteArray(good).replace("A-0001", "A-0009");
        const QByteArray hash = QCryptographicHash::hash(changed.split('\n').at(1), QCryptographicHash::Sha256).toHex();
        exported(operation, changed,
                 "Line 3: \"previous\" isn't the hash of the line before, " + hash.toStdString() +
                     "; one of both was changed");
        const TempFolder folder;
        QString fault;
        const QString path = folder.path("missing");
        EXPECT_FALSE(operation(
            path, [](QByteArrayView) { return true; }, fault));
        EXPECT_EQ(fault, QStringLiteral("The record %1 can't be opened: No such file or directory").arg(path));
    }
}

// The output of the export is full after n pieces.
TEST(ExportRecord, StopsWhenTheExportCantBeWritten) {
    const TempFolder folder;
    const QString path = folder.write("record.jsonl", kitRecord().bytes());
    for (const Export operation : {record::exportInToto, record::exportCsv}) {
        int all = 0;
        QString fault;
        ASSERT_TRUE(operation(
            path, [&all](QByteArrayView) { return ++all > 0; }, fault));
        ASSERT_GE(all, 3);
        for (int most = 0; most < all; ++most) {
            int calls = 0;
            EXPECT_FALSE(operation(
                path, [&](QByteArrayView) { return ++calls <= most; }, fault));
            EXPECT_EQ(calls, most + 1) << "it continued after a failure";
            EXPECT_EQ(fault, QStringLiteral("The export of the record %1 can't be written").arg(path));
        }
    }
}
