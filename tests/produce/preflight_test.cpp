#include "produce/preflight.h"
#include "produce/inputFault.h"
#include "produce/readProductionJob.h"
#include "tests/produce/jobText.h"
#include "tests/support/TempFolder.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <functional>

namespace produce {

namespace {

constexpr QFile::Permissions ownerOnly = QFile::ReadOwner | QFile::WriteOwner;
constexpr QFile::Permissions everyone = ownerOnly | QFile::ReadGroup | QFile::ReadOther;

const QByteArray goodKey = QByteArray::fromHex("7f1d0a9b3358c2e4419f6604bd27a18c");

/// A folder with a job for two devices that passes.
class Production {
  public:
    Production() {
        QDir(folder.path("")).mkdir(QStringLiteral("keys"));
        QDir(folder.path("")).mkdir(QStringLiteral("out"));
        for (const char* const name : {"blink.elf", "option-bytes.csv"}) {
            folder.write(name, fileContent(QStringLiteral(QVORA_EXAMPLES "/firmware/") + QLatin1String(name)));
        }
        secret("keys/image.bin", goodKey);
        secret("s1.bin", QByteArray(152, '1'));
        secret("s2.bin", QByteArray(152, '2'));
    }

    void secret(const char* name, const QByteArray& content) const {
        QFile::setPermissions(folder.write(name, content), ownerOnly);
    }

    /// The findings as lines, without the folder's path.
    [[nodiscard]] QString check(const QByteArrayList& fromTo, const QByteArray& table,
                                const char* tablePath = "devices.csv", qsizetype mostFindings = 20) {
        ProductionJob job;
        QString fault;
        folder.write("devices.csv", table);
        if (!readProductionJob(folder.write("job.json", changedJob(fromTo)), job, fault)) {
            return fault;
        }
        QList<Finding> findings;
        const QString path = *tablePath == '\0' ? QString() : folder.path(tablePath);
        const bool isGood = preflight(job, {path, folder.path("out"), mostFindings}, findings, totals);
        EXPECT_EQ(isGood, totals.faults == 0);
        EXPECT_EQ(QDir(folder.path("out")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size(), 0);
        QStringList lines;
        for (const Finding& finding : findings) {
            lines.append(printed(finding).replace(folder.path("") + u'/', QString()));
        }
        return lines.join(u'\n');
    }

    const TempFolder folder;
    Totals totals;
};

struct Case {
    const char* name;
    QByteArrayList fromTo;
    QByteArray table;
    const char* findings;
    std::function<void(const Production&)> prepare = [](const Production&) {};
};

const QByteArray header = "serial,secrets\n";
const QByteArray twoDevices = header + "A1,s1.bin\nA2,s2.bin\n";
const QByteArray versionColumn = "serial,version,secrets\nA1,1,s1.bin\n";
const QByteArrayList fromColumn{"\"version\": \"1\"", "\"version\": \"{column:version}\""};

const std::vector<Case> cases = {
    {"good", {}, twoDevices, ""},
    {"no device", {}, header, "devices.csv: The table has no device."},
    {"unused column", {}, "serial,secrets,x\n", "devices.csv:1:16: The job uses no column “x”."},
    {"missing column", {}, "serial\nA1\n", "devices.csv:1:1: The table has no column “secrets”."},
    {"serial twice",
     {},
     header + "A1,s1.bin\nA2,s1.bin\na1,s2.bin\n",
     "devices.csv:4:1: The serial “a1” is also in line 2."},
    {"two bad rows",
     {},
     header + "A/1,s1.bin\nA2\nA3,s1.bin\n",
     "devices.csv:2:1: A serial has 1 to 64 letters, digits, -, _ and ., and begins with a letter, a digit or _.\n"
     "devices.csv:3:1: The row and the header have different numbers of fields: 1 and 2."},
    {"missing file of a row",
     {},
     header + "A1,s1.bin\nA2,s3.bin\nA3,s3.bin\n",
     "devices.csv:3:4: steps[1].values.secrets: There is no file “s3.bin”.\n"
     "devices.csv:4:4: steps[1].values.secrets: There is no file “s3.bin”."},
    {"folder as a file", {}, header + "A1,keys\n", "devices.csv:2:4: steps[1].values.secrets: “keys” isn't a file."},
    {"empty value",
     {},
     header + "A1,s1.bin\nA2,\n",
     "devices.csv:3:4: steps[1].values.secrets: The field is empty, and the job needs it."},
    {"value of a later row", fromColumn, versionColumn + "A2,256,s1.bin\nA3,x,s1.bin\n",
     "devices.csv:3:4: steps[0].values.version: The number must be 255 or less.\n"
     "devices.csv:4:4: steps[0].values.version: Enter a number: decimal, hexadecimal with 0x, or octal with a leading "
     "0."},
    {"option in a row", fromColumn, versionColumn + "A2,-x,s1.bin\n",
     "devices.csv:3: steps[0].values.version: The tool reads a word that begins with - as an option."},
    {"missing file",
     {"blink.elf", "blank.elf"},
     twoDevices,
     "job.json: steps[0].values.firmware: There is no file “blank.elf”."},
    {"bad file",
     {"blink.elf", "s1.elf"},
     twoDevices,
     "job.json: steps[0].values.firmware: s1.elf is an invalid ELF file",
     [](const Production& in) { in.folder.write("s1.elf", "no ELF"); }},
    {"suffix",
     {"blink.tbi", "blink.bin"},
     twoDevices,
     "job.json: steps[0].values.out: The name must end in .tbi or .tbix."},
    {"suffix of a row",
     {"{out}/blink.tbi", "{out}/{column:kind}"},
     "serial,kind,secrets\nA1,a.tbi,s1.bin\nA2,b.bin,s1.bin\n",
     "devices.csv:3:4: steps[0].values.out: The name must end in .tbi or .tbix."},
    {"output of a row",
     {"{out}/blink.tbi", "{out}/{column:kind}"},
     "serial,kind,secrets\nA1,a.tbi,s1.bin\nA2,../a.tbi,s1.bin\n",
     "devices.csv:3: steps[0].values.out: “out/.preflight/../a.tbi” isn't a path below the device's folder."},
    {"no firmware",
     {"\"firmware\": [ { \"path\": \"blink.elf\" } ],", ""},
     twoDevices,
     "job.json: steps[0].values.firmware: The field is empty, and the job needs it."},
    {"hidden field",
     {"\"version\": \"1\"", "\"version\": \"1\", \"external-region\": \"2\""},
     twoDevices,
     "job.json: warning: steps[0].values.external-region: The field has no effect with the other values."},
    {"unmade input",
     {"blink.elf", "{out}/blink.elf"},
     twoDevices,
     "job.json: steps[0].values.firmware: No earlier step makes “{out}/blink.elf”."},
    {"later input",
     {"blink.elf", "{out}/secrets.pvs"},
     twoDevices,
     "job.json: steps[0].values.firmware: No earlier step makes “{out}/secrets.pvs”.\n"
     "job.json: steps[0].values.firmware: A raw binary needs a load address."},
    {"copied input",
     {"blink.elf", "{out}/blink.elf", "\"values\"",
      R"("copies": [{"from": "blink.elf", "to": "{out}/blink.elf"}], "values")"},
     twoDevices,
     ""},
    {"missing copy",
     {"\"values\"", R"("copies": [{"from": "{serial}.txt", "to": "{out}/a"}], "values")"},
     twoDevices,
     "devices.csv:2:1: steps[0].copies[0].from: There is no file “A1.txt”.\n"
     "devices.csv:3:1: steps[0].copies[0].from: There is no file “A2.txt”."},
    {"text that can't be expanded",
     {"\"values\"", R"("copies": [{"from": "t.xml", "to": "{out}/t.xml", "expand": true}], "values")"},
     "serial,secrets,name\nA1,s1.bin,x\nA2,s1.bin,<x>\n",
     "devices.csv:3: The value of the column “name” can't be written into a file: it has one of < > & \" ' \\ or a "
     "control "
     "character.",
     [](const Production& in) { in.folder.write("t.xml", "<a>{column:name}</a>"); }},
    {"missing proof",
     {"\"timeout\"", R"("proof": {"blob": ["s1.bin", "s3.bin"]}, "timeout")"},
     twoDevices,
     "job.json: steps[1].proof.blob: There is no file “s3.bin”."},
    {"missing key",
     {},
     twoDevices,
     "job.json: keys.image: There is no file “keys/image.bin”.",
     [](const Production& in) { QFile::remove(in.folder.path("keys/image.bin")); }},
    {"key's size",
     {},
     twoDevices,
     "job.json: steps[0].values.key: The file must have 16 bytes, this one has 15.\n"
     "job.json: steps[1].values.key: The file must have 16 bytes, this one has 15.",
     [](const Production& in) { in.secret("keys/image.bin", goodKey.first(15)); }},
    {"key's rights",
     {},
     twoDevices,
     "job.json: keys.image: “keys/image.bin” is secret, and users other than its owner have rights to it; chmod 600 "
     "removes "
     "them.",
     [](const Production& in) { QFile::setPermissions(in.folder.path("keys/image.bin"), everyone); }},
    {"group can write",
     {},
     twoDevices,
     "job.json: keys.image: “keys/image.bin” is secret, and users other than its owner have rights to it; chmod 600 "
     "removes "
     "them.",
     [](const Production& in) {
         QFile::setPermissions(in.folder.path("keys/image.bin"), ownerOnly | QFile::WriteGroup);
     }},
    {"secrets' rights",
     {},
     twoDevices,
     "devices.csv:3:4: steps[1].values.secrets: “s2.bin” is secret, and users other than its owner have rights to it; "
     "chmod "
     "600 removes them.",
     [](const Production& in) { QFile::setPermissions(in.folder.path("s2.bin"), everyone); }},
    {"development key",
     {},
     twoDevices,
     "job.json: keys.image: “keys/image.bin” has a development key, which others know; allowDevelopmentKeys in the job "
     "allows it for trials.",
     [](const Production& in) { in.secret("keys/image.bin", QByteArray(16, '\0')); }},
    {"allowed development key",
     {"false", "true"},
     twoDevices,
     "",
     [](const Production& in) { in.secret("keys/image.bin", QByteArray(16, '\0')); }},
    {"development key of a row",
     {"\"{key:image}\", \"nonce\"", "\"{column:key}\", \"nonce\""},
     "serial,key,secrets\nA1,keys/image.bin,s1.bin\nA2,k2.bin,s1.bin\n",
     "devices.csv:3:4: steps[0].values.key: “k2.bin” has a development key, which others know; allowDevelopmentKeys in "
     "the "
     "job allows it for trials.",
     [](const Production& in) { in.secret("k2.bin", QByteArray::fromHex("101112131415161718191a1b1c1d1e1f")); }},
    {"device of a row",
     {"\"0x455\"", "\"{column:device}\"", "\"version\": \"1\"", "\"version\": \"1\", \"ram-size\": \"1024\""},
     "serial,device,secrets\nA1,0x455,s1.bin\nA2,0x450,s1.bin\nA3,0x450,s1.bin\n",
     "job.json: steps[0].values.token: This device needs a continuation token with a RAM size."},
    {"unprotected format",
     {"\"steps\": [",
      R"("steps": [ { "job": "backup-image", "values": { "description": "b.json", "out": "{out}/b.bin" } },)"},
     twoDevices,
     "job.json: warning: steps[0]: The opener can check only the rules of this format: nothing in it protects its "
     "content.",
     [](const Production& in) { in.folder.write("b.json", "{}"); }},
    {"output of a template",
     {"\"steps\": [", R"("steps": [ { "job": "provisioning-file", "values": { "template": "{out}/t.xml" },
                         "copies": [ { "from": "t.xml", "to": "{out}/t.xml" } ] },)"},
     twoDevices,
     "job.json: steps[0].values.template: The output of “t.xml” isn't in the device's folder.",
     [](const Production& in) {
         in.folder.write("t.xml",
                         "<Root><Obdata><Output><Name>n</Name><Default>../x.obk</Default></Output></Obdata></Root>");
     }},
    {"uncopied template",
     {"\"steps\": [", R"("steps": [ { "job": "provisioning-file", "values": { "template": "{out}/t.xml" } },)"},
     twoDevices,
     "job.json: steps[0].values.template: No earlier step makes “{out}/t.xml”."},
    {"no folder",
     {},
     twoDevices,
     "out: There is no such folder.",
     [](const Production& in) { QDir().rmdir(in.folder.path("out")); }},
};

TEST(Preflight, FindsFaultsBeforeARun) {
    for (const Case& one : cases) {
        ASSERT_FALSE(changedJob(one.fromTo).isEmpty()) << one.name;
        Production production;
        one.prepare(production);
        EXPECT_EQ(production.check(one.fromTo, one.table).toStdString(), one.findings) << one.name;
    }
}

TEST(Preflight, ChecksTheSharedPartWithoutATable) {
    Production production;
    EXPECT_EQ(production.check({}, {}, "").toStdString(), "");
    EXPECT_EQ(production.check({"blink.elf", "blank.elf"}, {}, "").toStdString(),
              "job.json: steps[0].values.firmware: There is no file “blank.elf”.");
    EXPECT_EQ(production.check({}, {}, "no.csv").toStdString(),
              "no.csv: The table can't be read: No such file or directory.");
}

// Verdicts are kept by value, so each device still gets its finding. All findings count, and the first ones are kept.
TEST(Preflight, KeepsTheFirstFindingsAndCountsAll) {
    Production production;
    QByteArray table = header;
    for (int i = 0; i < 5000; ++i) {
        table += 'A' + QByteArray::number(i) + ",s" + QByteArray::number(i % 3) + ".bin\n";
    }
    const QString found = production.check({}, table, "devices.csv", 3);
    EXPECT_EQ(found.toStdString(),
              "devices.csv:2:4: steps[1].values.secrets: There is no file “s0.bin”.\n"
              "devices.csv:5:4: steps[1].values.secrets: There is no file “s0.bin”.\n"
              "devices.csv:8:4: steps[1].values.secrets: There is no file “s0.bin”.");
    EXPECT_EQ(production.totals.devices, 5000);
    EXPECT_EQ(production.totals.faults, 1667);
    EXPECT_EQ(production.totals.warnings, 0);
}

TEST(Preflight, ComparesTheRoomWithTheNeed) {
    Production production;
    EXPECT_EQ(production.check({}, twoDevices).toStdString(), "");
    const qint64 forTwo = production.totals.bytesNeeded;
    const qint64 inputs = QFileInfo(production.folder.path("blink.elf")).size() + 152;
    EXPECT_GE(forTwo, 2 * inputs);
    EXPECT_LE(forTwo, 2 * (inputs + (qint64{64} << 10)));
    EXPECT_GT(production.totals.bytesFree, 0);

    QFile large(production.folder.path("large.bin"));
    ASSERT_TRUE(large.open(QIODevice::WriteOnly) && large.resize(production.totals.bytesFree));  // a sparse file
    large.close();
    large.setPermissions(ownerOnly);
    const QString found = production.check({}, header + "A1,large.bin\n");
    EXPECT_TRUE(found.startsWith(QLatin1String("out: 1 devices need about ")) &&
                found.endsWith(QLatin1String(" MiB are free.")))
        << found.toStdString();
}

// The table of known keys has every key of the examples.
TEST(Preflight, KnowsTheKeysOfTheExamples) {
    int keys = 0;
    QDirIterator files(QStringLiteral(QVORA_EXAMPLES), {QStringLiteral("*key.bin")}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        ++keys;
        EXPECT_TRUE(isDevelopmentKey(fileContent(files.next()))) << files.filePath().toStdString();
    }
    EXPECT_EQ(keys, 4);
    for (const char* const hex : {"0102030405060708090a0b0c0d0e0f10", "fefdfcfbfaf9f8f7f6f5f4f3f2f1f0ef",
                                  "fafbfcfdfeff00010203040506070809", "ffffffffffffffffffffffffffffffff", "00"}) {
        EXPECT_TRUE(isDevelopmentKey(QByteArray::fromHex(hex))) << hex;
    }
    EXPECT_FALSE(isDevelopmentKey(goodKey));
    EXPECT_FALSE(isDevelopmentKey(QByteArray::fromHex("0102030405060708090a0b0c0d0e0f11")));
    EXPECT_FALSE(isDevelopmentKey({}));
}

TEST(Preflight, DoesNotReadPipes) {
    const TempFolder folder;
    const QString path = folder.path("pipe");
    ASSERT_EQ(mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    EXPECT_EQ(inputFault(path, true, true).toStdString(), "");
}

}  // namespace

}  // namespace produce
