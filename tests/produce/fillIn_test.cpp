#include "produce/fillIn.h"
#include "jobs/commandLine.h"
#include "produce/IvRule.h"
#include "produce/readProductionJob.h"
#include "tests/produce/jobText.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace produce {

namespace {

struct Filled {
    QString arguments;
    QString fault;
};

Device deviceOf(const ProductionJob& job, const QStringList& values) {
    Device device{QStringLiteral("A-1"), values, QStringLiteral("/line/A-1"), {}, {}};
    for (const Step& step : job.steps) {
        device.noncePaths.append(QStringLiteral("/nonces/") + step.name);
    }
    for (const KeySource& key : job.keys) {
        device.keyPaths.insert(key.name, QStringLiteral("/keys/") + key.name);
    }
    return device;
}

/// Reads the changed job and fills it in. The values belong to the columns in the order of the job.
Filled fill(const QByteArrayList& fromTo, const QStringList& values) {
    const TempFolder folder;
    ProductionJob job;
    QString fault;
    EXPECT_TRUE(readProductionJob(folder.write("job.json", changedJob(fromTo)), job, fault)) << fault.toStdString();
    QList<FilledStep> filled;
    if (!fillInAll(job, deviceOf(job, values), filled, fault)) {
        EXPECT_TRUE(filled.isEmpty());
        return {{}, fault};
    }
    QStringList lines;
    for (qsizetype i = 0; i < filled.size(); ++i) {
        lines.append(jobs::argumentsOf(*job.steps.at(i).row, filled.at(i).values).join(u' '));
        for (const Copy& copy : filled.at(i).copies) {
            lines.append(copy.from + QLatin1String(" > ") + copy.to);
        }
    }
    return {lines.join(u'\n').replace(job.folder + u'/', QLatin1String("JOB/")), {}};
}

const QString secretsLine =
    QStringLiteral("\n-pvs-tbi -b JOB/s.bin -k /keys/image -n /nonces/secrets -o /line/A-1/secrets.pvs");

TEST(FillIn, MakesTheArgumentsOfADevice) {
    const QString firmware = QStringLiteral(
        "-tbi -devid 0x455 -ob JOB/option-bytes.csv -fir JOB/blink.elf -k /keys/image -n /nonces/install-image -v 1 -o "
        "/line/A-1/blink.tbi");
    EXPECT_EQ(fill({}, {QStringLiteral("s.bin")}).arguments, firmware + secretsLine);

    const Filled many =
        fill({"{ \"path\": \"blink.elf\" }",
              R"({ "path": "{{x}}/{column:kind}/{serial}.bin", "beside": "{column:address}" })", "{out}/blink.tbi",
              "{out}/{column:kind}-{serial}.tbi", "\"timeout\"",
              R"("copies": [{"from": "{nonce:install-image}", "to": "{out}/{column:kind}.nonce"}], "timeout")"},
             {QStringLiteral("big"), QStringLiteral("0x10"), QStringLiteral("/abs/s.bin")});
    EXPECT_EQ(many.fault.toStdString(), "");
    EXPECT_EQ(many.arguments.toStdString(),
              "-tbi -devid 0x455 -ob JOB/option-bytes.csv -fir JOB/{x}/big/A-1.bin 0x10 -k /keys/image -n "
              "/nonces/install-image -v 1 -o /line/A-1/big-A-1.tbi\n-pvs-tbi -b /abs/s.bin -k /keys/image -n "
              "/nonces/secrets -o /line/A-1/secrets.pvs\n/nonces/install-image > /line/A-1/big.nonce");
}

struct Case {
    const char* name;
    QByteArrayList fromTo;
    const char* value;  // of the one column other than "secrets"
    const char* fault;
};

// A table can neither add an option nor lead a file out of the device's folder.
TEST(FillIn, RefusesValuesThatWouldDoMore) {
    const QByteArrayList beside{"{ \"path\": \"blink.elf\" }", R"({ "path": "a.bin", "beside": "{column:v}" })"};
    const QByteArrayList version{"\"version\": \"1\"", "\"version\": \"{column:v}\""};
    const QByteArrayList out{"{out}/blink.tbi", "{out}/{column:v}.tbi"};
    const QByteArrayList input{"blink.elf", "{out}/{column:v}.elf"};
    const std::vector<Case> cases = {
        {"option after a path", beside, "0x10 -o /tmp/x",
         "steps[0].values.firmware: The tool reads a word that begins with - as an option."},
        {"option", version, "-o", "steps[0].values.version: The tool reads a word that begins with - as an option."},
        {"option after blanks", version, " -o",
         "steps[0].values.version: The tool reads a word that begins with - as an option."},
        {"choice",
         {"\"0x455\"", "\"{column:v}\""},
         "0x456",
         "steps[0].values.device: “0x456” isn't a choice of this field."},
        {"up", out, "../A-2/x",
         "steps[0].values.out: “/line/A-1/../A-2/x.tbi” isn't a path below the device's folder."},
        {"deep up", out, "a/../../x",
         "steps[0].values.out: “/line/A-1/a/../../x.tbi” isn't a path below the device's folder."},
        {"root", out, "/x", "steps[0].values.out: “/line/A-1//x.tbi” isn't a path below the device's folder."},
        {"same file", out, "copy", "steps[0]: “/line/A-1/copy.tbi” is written twice."},
        {"input up", input, "../../x",
         "steps[0].values.firmware: “/line/A-1/../../x.elf” isn't a path below the device's folder."},
    };
    for (const Case& one : cases) {
        QByteArrayList fromTo = one.fromTo;
        if (qstrcmp(one.name, "same file") == 0) {
            fromTo += {"\"version\": \"1\"", "\"version\": \"1\", \"log\": \"{out}/copy.tbi\""};
        }
        EXPECT_EQ(fill(fromTo, {QString::fromLatin1(one.value), QStringLiteral("s.bin")}).fault.toStdString(),
                  one.fault)
            << one.name;
    }
    // These values are good. The new column is before "secrets", because its step is the first one.
    EXPECT_EQ(fill(version, {QStringLiteral("7"), QStringLiteral("s.bin")}).fault.toStdString(), "");
    EXPECT_EQ(fill(out, {QStringLiteral("a/b"), QStringLiteral("s.bin")}).fault.toStdString(), "");
    EXPECT_EQ(fill({}, {QString(9000, u'x')}).fault.toStdString(),
              "steps[1].values.secrets: The value is too long, or has a NUL.");
}

TEST(FillIn, ExpandsOnlyItsOwnPlaceholders) {
    ProductionJob job;
    job.columns = {QStringLiteral("name"), QStringLiteral("x y")};
    Device device{QStringLiteral("A-1"), {QStringLiteral("{serial}é"), QStringLiteral("2")}, {}, {}, {}};
    const QByteArray text =
        "<a>{serial}</a>{ serial }{column:name}{column:x y}{{serial}}{out}{column:}{nonce}\n{column:";
    QByteArray expanded;
    QString fault;
    ASSERT_TRUE(expandText(job, device, text, expanded, fault)) << fault.toStdString();
    EXPECT_EQ(expanded.toStdString(), "<a>A-1</a>{ serial }{serial}é2{A-1}{out}{column:}{nonce}\n{column:");
    for (const char* const bad : {"</a>", "a&b", "\"", "'", "\\", "\n", "\x7f"}) {
        device.values[0] = QString::fromLatin1(bad);
        EXPECT_FALSE(expandText(job, device, text, expanded, fault)) << bad;
        EXPECT_EQ(
            fault.toStdString(),
            "The value of the column “name” can't be written into a file: it has one of < > & \" ' \\ or a control "
            "character.");
    }
}

TEST(FillIn, ListsWhatAStepReads) {
    const TempFolder folder;
    ProductionJob job;
    QString fault;
    ASSERT_TRUE(readProductionJob(folder.write("job.json", jobText()), job, fault)) << fault.toStdString();
    QList<FilledStep> filled;
    ASSERT_TRUE(fillInAll(job, deviceOf(job, {QStringLiteral("/s")}), filled, fault));
    QStringList found;
    for (qsizetype i = 0; i < filled.size(); ++i) {
        for (const InputPath& input : inputPaths(job.steps.at(i), filled.at(i))) {
            found.append(input.field + u' ' + input.path +
                         (input.isSecret ? QLatin1String(" secret") : QLatin1String("")) +
                         (input.isKey ? QLatin1String(" key") : QLatin1String("")));
        }
    }
    EXPECT_EQ(found.join(u'\n').replace(job.folder + u'/', QLatin1String("JOB/")).toStdString(),
              "option-bytes JOB/option-bytes.csv\nfirmware JOB/blink.elf\nkey /keys/image secret key\n"
              "nonce /nonces/install-image key\nsecrets /s secret key\nkey /keys/image secret key\n"
              "nonce /nonces/secrets key");
}

}  // namespace

}  // namespace produce
