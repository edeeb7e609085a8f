#include "produce/DeviceTable.h"
#include "tests/support/outsideTool.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

#include <unistd.h>

namespace produce {

namespace {

const QStringList twoColumns{QStringLiteral("secrets"), QStringLiteral("address")};

/// Every row as "LINE SERIAL|VALUE|VALUE", every fault as "LINE:COLUMN: TEXT".
QString read(const QString& path, const QStringList& columns = twoColumns) {
    DeviceTable table;
    TableFault fault;
    QStringList found;
    const auto place = [&path](const TableFault& at) {
        EXPECT_EQ(at.file, path);
        return QStringLiteral("%1:%2: %3").arg(at.line).arg(at.column).arg(at.text);
    };
    if (!table.open(path, columns, fault)) {
        return place(fault);
    }
    while (true) {
        DeviceRow row;
        const DeviceTable::Next next = table.next(row, fault);
        if (next == DeviceTable::Next::end) {
            return found.join(u'\n');
        }
        if (next == DeviceTable::Next::row) {
            found.append(QStringLiteral("%1 %2").arg(row.line).arg((QStringList(row.serial) + row.values).join(u'|')));
            continue;
        }
        found.append(place(fault));
        EXPECT_TRUE(row.serial.isEmpty() && row.values.isEmpty());
        if (next == DeviceTable::Next::fault) {
            return found.join(u'\n');
        }
    }
}

struct Case {
    const char* name;
    QByteArray table;
    const char* expected;
    const char* file = "devices.csv";
};

const std::vector<Case> cases = {
    {"plain", "serial,secrets,address\nA1,s1.bin,0x10\nA2,s2.bin,0x20\n", "2 A1|s1.bin|0x10\n3 A2|s2.bin|0x20"},
    {"no break at the end", "serial,secrets,address\nA1,s,a", "2 A1|s|a"},
    {"CRLF", "serial,secrets,address\r\nA1,s,a\r\nA2,,\r\n", "2 A1|s|a\n3 A2||"},
    {"byte order mark", "\xEF\xBB\xBFserial,secrets,address\nA1,s,a\n", "2 A1|s|a"},
    {"other order", "address,serial,secrets\na,A1,s\n", "2 A1|s|a"},
    {"quoted", "\"serial\",secrets,address\n\"A1\",\"s, with \"\"quotes\"\"\",\"two\nlines\"\nA2,s,a\n",
     "2 A1|s, with \"quotes\"|two\nlines\n4 A2|s|a"},
    {"empty lines", "\n\r\nserial,secrets,address\n\nA1,s,a\n\n\n", "5 A1|s|a"},
    {"blanks are kept", "serial,secrets,address\nA1, s ,\ta\n", "2 A1| s |\ta"},
    {"UTF-8", "serial,secrets,address\nA1,\xC3\xA9,\xE2\x82\xAC\n", "2 A1|é|€"},
    {"empty", "", "1:1: The table is empty."},
    {"only empty lines", "\n\n", "3:1: The table is empty."},
    {"header only", "serial,secrets,address\n", ""},
    {"unknown column", "serial,secrets,adress\n", "1:16: The job uses no column “adress”."},
    {"column twice", "serial,secrets,address,secrets\n", "1:24: There are two columns “secrets”."},
    {"missing column", "serial,secrets\n", "1:1: The table has no column “address”."},
    {"missing serial", "secrets,address\n", "1:1: The table has no column “serial”."},
    {"name in another case", "Serial,secrets,address\n", "1:1: The job uses no column “Serial”."},
    {"short row", "serial,secrets,address\nA1,s\nA2,s,a\n",
     "2:1: The row and the header have different numbers of fields: 2 and 3.\n3 A2|s|a"},
    {"long row", "serial,secrets,address\nA1,s,a,\n",
     "2:1: The row and the header have different numbers of fields: 4 and 3."},
    {"open quote", "serial,secrets,address\nA1,\"s,a\nA2,s,a\n", "2:4: The quotation mark has no partner."},
    {"quote in a field", "serial,secrets,address\nA1,s\"s,a\n",
     "2:5: A quotation mark is inside a field that isn't quoted."},
    {"text after a quote", "serial,secrets,address\nA1,\"s\" ,a\n",
     "2:7: Only a comma or the end of the line can follow a quoted field."},
    {"text after lines in a quote", "serial,secrets,address\nA1,\"s\n\xC3\xA9\"x,a\n",
     "3:3: Only a comma or the end of the line can follow a quoted field."},
    {"lone carriage return", "serial,secrets,address\nA1,s\rA2,s,a\n",
     "2:5: A carriage return isn't followed by a line feed."},
    {"not UTF-8", "serial,secrets,address\nA1,\xC3,a\nA2,s,a\n", "2:1: The row isn't UTF-8.\n3 A2|s|a"},
    {"NUL", QByteArray("serial,secrets,address\nA1,s\0,a\n", 31),
     "2:4: A value has at most 8192 characters and no NUL."},
    {"column in characters", "secrets,address,serial\n\xC3\xA9\xC3\xA9,a,.x\n",
     "2:6: A serial has 1 to 64 letters, digits, -, _ and ., and begins with a letter, a digit or _."},
    {"long value", "serial,secrets,address\nA1,a," + QByteArray(8193, 'x') + "\n",
     "2:6: A value has at most 8192 characters and no NUL."},
    {"longest value", "serial,address,secrets\nA1,," + QByteArray(3, 'x') + "\n", "2 A1|xxx|"},
    {"huge row", "serial,secrets,address\n" + QByteArray(70000, 'x'), "2:1: The row has more than 65536 bytes."},
    {"huge quoted row", "serial,secrets,address\n\"" + QByteArray(70000, '\n'),
     "2:1: The row has more than 65536 bytes."},
    {"JSON lines",
     "{\"serial\": \"A1\", \"secrets\": \"s\", \"address\": \"a\"}\r\n\n  "
     "{\"address\":\"\\u00e9\\n\\\"\",\"secrets\":\"\",\"serial\":\"A2\"}",
     "1 A1|s|a\n3 A2||é\n\""},
    {"JSON surrogates", "{\"serial\":\"A1\",\"secrets\":\"\\ud83d\\ude00\",\"address\":\"/\\/\"}\n",
     "1 A1|\xF0\x9F\x98\x80|//"},
    {"JSON half a surrogate", "{\"serial\":\"A1\",\"secrets\":\"\\ud83d\",\"address\":\"\"}\n",
     "1:26: The value of “secrets” must be a text."},
    {"JSON number", "{\"serial\": 7, \"secrets\": \"\", \"address\": \"\"}\n",
     "1:12: The value of “serial” must be a text."},
    {"JSON unknown", "{\"serial\": \"A1\", \"secret\": \"\", \"address\": \"\"}\n",
     "1:18: The job uses no column “secret”."},
    {"JSON twice", "{\"serial\": \"A1\", \"serial\": \"A1\"}\n", "1:18: There are two columns “serial”."},
    {"JSON missing", "{\"serial\": \"A1\", \"secrets\": \"\"}\n{}\n",
     "1:1: The row has no “address”.\n2:1: The row has no “serial”."},
    {"JSON array", "[\"A1\"]\n", "1:1: A row is an object of texts: {\"serial\": \"...\", ...}.", "a.jsonl"},
    {"JSON comma", "{\"serial\":\"A1\",}\n", "1:16: A row is an object of texts: {\"serial\": \"...\", ...}."},
    {"JSON two commas", "{\"serial\":\"A1\",,\"secrets\":\"\"}\n",
     "1:16: A row is an object of texts: {\"serial\": \"...\", ...}."},
    {"JSON text after", "{\"serial\":\"A1\",\"secrets\":\"\",\"address\":\"\"} x\n",
     "1:43: A row is an object of texts: {\"serial\": \"...\", ...}."},
    {"JSON cut", "{\"serial\":\"A1\",\"secrets\":\"", "1:26: The value of “secrets” must be a text."},
    {"empty JSON lines", "", "", "a.jsonl"},
};

TEST(DeviceTable, ReadsRowsAndReportsPlaces) {
    for (const Case& one : cases) {
        const TempFolder folder;
        EXPECT_EQ(read(folder.write(one.file, one.table)).toStdString(), one.expected) << one.name;
    }
    EXPECT_EQ(read(QStringLiteral("/nowhere/devices.csv")).toStdString(),
              "0:0: The table can't be read: No such file or directory.");
    EXPECT_EQ(read(QStringLiteral("/")).toStdString(), "1:0: The table can't be read: Is a directory.");
}

TEST(DeviceTable, AcceptsSerialsThatCanNameFolders) {
    const QStringList good{QStringLiteral("A"), QStringLiteral("0"), QStringLiteral("_x.y-z"), QString(64, u'a'),
                           QStringLiteral("record.json")};
    for (const QString& serial : good) {
        EXPECT_EQ(serialFault(serial).toStdString(), "") << serial.toStdString();
    }
    const QStringList bad{QString(),
                          QStringLiteral("."),
                          QStringLiteral("..") + u'a',
                          QStringLiteral("-x"),
                          QStringLiteral("a/b"),
                          QStringLiteral("a b"),
                          QStringLiteral("é"),
                          QStringLiteral("a\n"),
                          QString(65, u'a')};
    for (const QString& serial : bad) {
        EXPECT_EQ(serialFault(serial).toStdString(),
                  "A serial has 1 to 64 letters, digits, -, _ and ., and begins with a letter, a digit or _.")
            << serial.toStdString();
    }
    for (const QString& serial :
         {QStringLiteral("void"), QStringLiteral("VOID"), QStringLiteral("making"), QStringLiteral("Record.jsonl")}) {
        EXPECT_EQ(serialFault(serial),
                  QStringLiteral("“%1” can't be a serial: the runner has a file or folder of this name.").arg(serial));
    }
}

// Python's writer decides how the fields are quoted. Rows are longer than one read, and fields have every special
// character.
TEST(DeviceTable, ReadsWhatAnotherProgramWrites) {
    const TempFolder folder;
    const QString script = folder.write("write.py", R"(
import csv, json, random, sys
random.seed(4)
end, quoting = sys.argv[2].encode().decode("unicode_escape"), int(sys.argv[3])
letters = 'ab,"\n; é€😀' + ("" if (end, quoting) == ("\n", 0) else "\r")  # Python doesn't quote a lone "\r" there
rows = [["S%d" % i] + ["".join(random.choice(letters) for _ in range(random.choice([0, 1, 5, 60, 4000])))
                       for _ in range(2)] for i in range(400)]
with open(sys.argv[1], "w", newline="", encoding="utf-8") as file:
    writer = csv.writer(file, lineterminator=end, quoting=quoting)
    writer.writerow(["serial", "secrets", "address"])
    writer.writerows(rows)
with open(sys.argv[1] + "l", "w", encoding="utf-8") as file:
    for row in rows:
        json.dump(dict(zip(["serial", "secrets", "address"], row)), file, ensure_ascii=quoting == 0)
        file.write("\n")
print(json.dumps(rows))
)");
    for (const char* const style : {"\\n 0", "\\r\\n 0", "\\n 1", "\\r\\n 1"}) {
        const QString path = folder.path("devices.json");
        const QStringList words = QString::fromLatin1(style).split(u' ');
        const QJsonArray rows =
            QJsonDocument::fromJson(outsideTool(QStringLiteral("python3"), QStringList{script, path} + words)).array();
        ASSERT_EQ(rows.size(), 400);
        for (const QString& written : {path, path + u'l'}) {
            DeviceTable table;
            TableFault fault;
            ASSERT_TRUE(table.open(written, twoColumns, fault)) << fault.text.toStdString();
            for (const QJsonValue& expected : rows) {
                DeviceRow row;
                ASSERT_EQ(table.next(row, fault), DeviceTable::Next::row)
                    << style << ' ' << fault.line << ' ' << fault.text.toStdString();
                ASSERT_EQ(QStringList(row.serial) + row.values, expected.toVariant().toStringList()) << style;
            }
            DeviceRow row;
            EXPECT_EQ(table.next(row, fault), DeviceTable::Next::end);
        }
    }
}

// Cut at each byte and read: every cut gives a fault or fewer rows, from a buffer of exactly that size.
TEST(DeviceTable, ReadsEveryCut) {
    const QByteArray whole = "serial,secrets,address\r\nA1,\"x\"\"\ny\",\xE2\x82\xAC\r\nA2,s,a\r\n";
    const TempFolder folder;
    for (qsizetype size = 0; size < whole.size() - 2; ++size) {
        EXPECT_NE(read(folder.write("cut.csv", whole.first(size))).toStdString(), "2 A1|x\"\ny|€\n4 A2|s|a") << size;
    }
    EXPECT_EQ(read(folder.write("cut.csv", whole)).toStdString(), "2 A1|x\"\ny|€\n4 A2|s|a");
}

TEST(DeviceTable, ReturnsTheRowsOfAPipeAsTheyArrive) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const auto send = [&ends](const QByteArray& bytes) {
        ASSERT_EQ(write(ends[1], bytes.constData(), static_cast<std::size_t>(bytes.size())), bytes.size());
    };
    send("serial,secrets,address\nA1,s,a\n");
    DeviceTable table;
    TableFault fault;
    DeviceRow row;
    ASSERT_TRUE(table.open(QStringLiteral("/proc/self/fd/%1").arg(ends[0]), twoColumns, fault));
    ASSERT_EQ(table.next(row, fault), DeviceTable::Next::row);
    EXPECT_EQ(row.serial.toStdString(), "A1");
    send("A2,\"s");
    send("\"\"s\n");
    send("\",a\n");
    ASSERT_EQ(table.next(row, fault), DeviceTable::Next::row);
    EXPECT_EQ(row.values.join(u'|').toStdString(), "s\"s\n|a");
    EXPECT_EQ(table.placeOf(1).line, 4);
    EXPECT_EQ(table.placeOf(1).column, 3);
    close(ends[1]);
    EXPECT_EQ(table.next(row, fault), DeviceTable::Next::end);
    close(ends[0]);
}

TEST(SerialSet, FindsSerialsOfAnyCase) {
    SerialSet serials;
    for (int i = 0; i < 20000; ++i) {
        ASSERT_EQ(serials.add(QStringLiteral("Serial-%1").arg(i), i + 2), 0) << i;
    }
    for (int i = 0; i < 20000; ++i) {
        ASSERT_EQ(serials.add(QStringLiteral("sERIAL-%1").arg(i), 99999), i + 2) << i;
    }
}

}  // namespace

}  // namespace produce
