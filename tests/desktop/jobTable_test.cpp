#include "jobs/jobTable.h"
#include "jobs/commandLine.h"
#include "jobs/jobFile.h"
#include "tests/support/TempFolder.h"

#include <QDir>
#include <QProcess>

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace {

using Words = std::set<QByteArray>;

/// Options of the tool that no page offers.
const std::set<QByteArray> leftOut = {
    "-tbi -hash",        // has no effect
    "-sign -a",          // there is only one algorithm
    "-keygen --key",     // the same as -k
    "-signbin --key",    // the same as -k
    "-dcu --Directory",  // the same as -directory
    "-gpdata -gpdata",   // the command itself
};

QByteArray toolOutput(const QStringList& arguments) {
    QProcess tool;
    tool.start(QStringLiteral(QVORA_TOOL), arguments);
    return tool.waitForFinished() ? tool.readAllStandardOutput() : QByteArray();
}

/// The option names at the start of `text`, which is a row of the help or a list of names.
Words leadingWords(const QByteArray& text) {
    Words words;
    for (QByteArray word : text.simplified().split(' ')) {
        if (!word.startsWith('-')) {
            break;
        }
        while (word.endsWith(',') || word.endsWith(':')) {
            word.chop(1);
        }
        words.insert(word);
    }
    return words;
}

/// The documented options, each with all its names. The key is the word of a command that may accept them.
std::map<QByteArray, std::vector<Words>> documentedOptions() {
    std::map<QByteArray, std::vector<Words>> documented;
    std::vector<Words> section;
    const auto close = [&] {
        for (const Words& words : section) {
            for (const QByteArray& word : words) {
                documented[word].insert(documented[word].end(), section.begin(), section.end());
            }
        }
        section.clear();
    };
    for (const QByteArray& line : toolOutput({QStringLiteral("-h")}).split('\n')) {
        if (!line.isEmpty() && !line.startsWith(' ')) {
            close();
        } else if (const Words words = leadingWords(line); !words.empty()) {
            section.push_back(words);
        }
    }
    close();
    for (const QByteArray& line : fileContent(QStringLiteral(QVORA_EXAMPLES "/more-options.tsv")).split('\n')) {
        const QByteArrayList fields = line.split('\t');
        if (fields.size() == 3) {
            documented[fields.at(0)].push_back(leadingWords(fields.at(1)));
        }
    }
    return documented;
}

Words commandWords() {
    Words words;
    for (const jobs::JobRow& job : jobs::jobTable()) {
        for (const QByteArray& word : QByteArray(job.words).split(' ')) {
            if (word.startsWith('-')) {
                words.insert(word);
            }
        }
    }
    return words;
}

TEST(JobTable, HasTheOptionsThatTheToolDocuments) {
    const std::map<QByteArray, std::vector<Words>> documented = documentedOptions();
    const Words commands = commandWords();
    for (const jobs::JobRow& job : jobs::jobTable()) {
        const QByteArray command = *job.command == '\0' ? "-ptbi" : job.command;
        ASSERT_TRUE(documented.contains(command)) << command.constData();
        Words own;
        for (const jobs::FieldRow& row : job.rows) {
            own.insert(row.option);
        }
        Words known;
        for (const Words& names : documented.at(command)) {
            known.insert(names.begin(), names.end());
            const bool has = std::any_of(names.begin(), names.end(), [&](const QByteArray& name) {
                return own.contains(name) || (commands.contains(name) && name != "-info") ||
                       leftOut.contains(command + ' ' + name);
            });
            EXPECT_TRUE(has) << job.id << " has no " << names.begin()->constData();
        }
        for (const jobs::FieldRow& row : job.rows) {
            EXPECT_TRUE(row.option == nullptr || known.contains(row.option)) << job.id << " has " << row.option;
        }
    }
}

// The tool trims its arguments, and a shell looks up a program without a slash on its PATH.
TEST(CommandLine, KeepsValuesThatTheToolOrTheShellWouldChange) {
    const jobs::JobRow& job = *jobs::findJob(QStringLiteral("sign"));
    const jobs::JobValues values = {{QStringLiteral("binary"), {QStringLiteral(" a.bin")}},
                                    {QStringLiteral("key"), {QStringLiteral("-k.pem")}},
                                    {QStringLiteral("version"), {QStringLiteral(" 7 ")}}};
    EXPECT_EQ(jobs::argumentsOf(job, values).join(u'|').toStdString(), "-sign|-bin|./ a.bin|-prvk|./-k.pem|-v|7");

    const TempFolder other;
    const QByteArray path = qgetenv("PATH");
    const QString tool = QStringLiteral(QVORA_TOOL);
    const auto nameOnPath = [&](const QString& folder) {
        qputenv("PATH", folder.toUtf8());
        const QString word = jobs::programWord(tool);
        qputenv("PATH", path);
        return word;
    };
    EXPECT_EQ(nameOnPath(QFileInfo(tool).path()), QFileInfo(tool).fileName());
    EXPECT_EQ(nameOnPath(other.path("")), tool);
    QFile::setPermissions(other.write(qPrintable(QFileInfo(tool).fileName()), "#!/bin/sh\n"),
                          QFile::ReadOwner | QFile::ExeOwner);
    EXPECT_EQ(nameOnPath(other.path("")), tool) << "another program of the same name";
}

TEST(JobTable, FindsTheFilesThatTemplatesName) {
    const TempFolder folder;
    const QByteArray start = "<Root><Obdata><Output><Name>n</Name>";
    const QByteArray end = "<Default> ./d.obk </Default></Output></Obdata></Root>";
    const jobs::JobValues values = {{QStringLiteral("more-templates"),
                                     {folder.write("a.xml", start + end), QString(),
                                      folder.write("b.xml", start + "<Value>out/v.obk</Value>" + end), QString()}}};
    const QStringList expected = {folder.path("./d.obk"), folder.path("out/v.obk")};
    EXPECT_EQ(jobs::outputsOf(*jobs::findJob(QStringLiteral("provisioning-file")), values), expected);
}

/// A value for every field. A field with choices has its last choice.
jobs::JobValues filled(const jobs::JobRow& job, const QString& folder) {
    jobs::JobValues values;
    for (const jobs::FieldRow* const row : jobs::fieldsOf(job)) {
        const QString id = QLatin1String(row->id);
        const QString path = folder + u'/' + id;
        if (row->kind == jobs::FieldKind::inFiles) {
            const QString beside = *row->besideLabel == '\0' ? QString() : QStringLiteral("2 0x3");
            values[id] = {path + QStringLiteral("/-1"), beside, path + QStringLiteral("2"), QString()};
        } else {
            values[id] = {jobs::isPath(*row)     ? path
                          : row->choices.empty() ? QStringLiteral("a b'\"$x")
                                                 : QString::fromLatin1(row->choices.back().value)};
        }
    }
    return values;
}

TEST(JobFile, KeepsEveryFieldOfEveryJobAndMovesWithItsFolder) {
    const TempFolder folder;
    ASSERT_TRUE(QDir(folder.path("")).mkpath(QStringLiteral("a/b")) &&
                QDir(folder.path("")).mkpath(QStringLiteral("c/b")));
    for (const jobs::JobRow& job : jobs::jobTable()) {
        const jobs::JobValues values = filled(job, folder.path("a"));
        QString fault;
        ASSERT_TRUE(jobs::writeJobFile(folder.path("a/b/job.json"), {&job, values}, fault)) << qUtf8Printable(fault);
        EXPECT_FALSE(folder.read("a/b/job.json").contains(folder.path("").toUtf8()));
        QFile::remove(folder.path("c/b/job.json"));
        ASSERT_TRUE(QFile::rename(folder.path("a/b/job.json"), folder.path("c/b/job.json")));
        jobs::Job read;
        ASSERT_TRUE(jobs::readJobFile(folder.path("c/b/job.json"), read, fault)) << qUtf8Printable(fault);
        EXPECT_EQ(read.row, &job);
        EXPECT_EQ(jobs::argumentsOf(job, read.values), jobs::argumentsOf(job, filled(job, folder.path("c")))) << job.id;

        // A field without a value stays empty.
        jobs::JobValues emptied = jobs::initialValues(job);
        for (const jobs::FieldRow& row : job.rows) {
            if (row.choices.empty()) {
                emptied.remove(QLatin1String(row.id));
            }
        }
        ASSERT_TRUE(jobs::writeJobFile(folder.path("empty.json"), {&job, emptied}, fault) &&
                    jobs::readJobFile(folder.path("empty.json"), read, fault));
        EXPECT_EQ(jobs::argumentsOf(job, read.values), jobs::argumentsOf(job, emptied)) << job.id;
    }
}

// A job file keeps the values of hidden fields, because they may be shown again. A value that couldn't be read back
// isn't written.
TEST(JobFile, KeepsHiddenFieldsAndWritesOnlyWhatItReads) {
    const TempFolder folder;
    const jobs::JobRow& card = *jobs::findJob(QStringLiteral("card"));
    jobs::JobValues values = jobs::initialValues(card);
    values[QStringLiteral("action")] = {QStringLiteral("read")};
    values[QStringLiteral("firmware-id")] = {QStringLiteral("-hidden")};
    QString fault;
    QString line;
    jobs::Job read;
    const QString path = folder.path("job.json");
    ASSERT_TRUE(jobs::writeJobFile(path, {&card, values}, fault) && jobs::readJobFile(path, read, fault))
        << qUtf8Printable(fault);
    EXPECT_EQ(read.values.value(QStringLiteral("firmware-id")), values.value(QStringLiteral("firmware-id")));
    EXPECT_TRUE(jobs::commandLineOfJobFile(path, QStringLiteral(QVORA_TOOL), line, fault)) << qUtf8Printable(fault);

    const QByteArray kept = folder.read("job.json");
    for (const QString& text : {QString(8193, u'x'), QString(QChar(0xD800))}) {
        values[QStringLiteral("firmware-id")] = {text};
        EXPECT_FALSE(jobs::writeJobFile(path, {&card, values}, fault));
        EXPECT_EQ(folder.read("job.json"), kept);
    }
}

// The tool would read a value that looks like an option, or that ends with a blank, differently from the window.
TEST(JobFile, PrintsNoLineThatTheToolWouldReadDifferently) {
    const TempFolder folder;
    for (const char* const values : {R"("firmware-id": "-info")", R"("log": "run.log ")"}) {
        const QByteArray text = QByteArray(R"({"version": 1, "job": "card", "values": {)") + values + "}}";
        QString line;
        QString fault;
        EXPECT_FALSE(
            jobs::commandLineOfJobFile(folder.write("job.json", text), QStringLiteral(QVORA_TOOL), line, fault));
        EXPECT_TRUE(line.isEmpty() && fault.contains(QLatin1String("The tool "))) << qUtf8Printable(fault);
    }
}

TEST(JobFile, RefusesOtherFilesWithAReason) {
    const TempFolder folder;
    const struct {
        QByteArray text;
        const char* fault;
    } rows[] = {
        {"", "isn't a job"},
        {"[]", "no version"},
        {R"({"version": 1, "job": "sign", "values": {})", "at byte"},
        {R"({"version": 2, "job": "sign", "values": {}})", "version 2"},
        {R"({"version": 0, "job": "sign", "values": {}})", "version 0"},
        {R"({"version": "1", "job": "sign", "values": {}})", "no version"},
        {R"({"version": 1, "job": "sing", "values": {}})", "“sing”"},
        {R"({"version": 1, "job": "sign"})", "no values"},
        {R"({"version": 1, "job": "sign", "values": {}, "key": "k"})", "“key”"},
        {R"({"version": 1, "job": "sign", "values": {"nonce": "n"}})", "“nonce”"},
        {R"({"version": 1, "job": "sign", "values": {"version": 1}})", "“version”"},
        {R"({"version": 1, "job": "sign", "values": {"key": "a\u0000b"}})", "“key”"},
        {R"({"version": 1, "job": "install-image", "values": {"device": "0x451"}})", "“device”"},
        {R"({"version": 1, "job": "install-image", "values": {"firmware": ["a"]}})", "“firmware”"},
        {R"({"version": 1, "job": "install-image", "values": {"firmware": [{"path": "a", "at": "1"}]}})", "“firmware”"},
        {R"({"version": 1, "job": "install-image", "values": {"firmware": [)" +
             QByteArray(R"({"path": "a"},)").repeated(256) + R"({"path": "a"}]}})",
         "“firmware”"},
        {R"({"version": 1, "job": "sign", "values": {"key": ")" + QByteArray(8193, 'a') + "\"}}", "“key”"},
        {R"({"version": 1, "job": "provisioning-file",
              "values": {"more-templates": [{"path": "a", "beside": "1"}]}})",
         "“more-templates”"},
        {QByteArray(1048577, ' '), "too large"},
    };
    for (const auto& row : rows) {
        jobs::Job job;
        QString fault;
        EXPECT_FALSE(jobs::readJobFile(folder.write("job.json", row.text), job, fault))
            << row.text.left(80).constData();
        EXPECT_TRUE(fault.contains(QString::fromUtf8(row.fault))) << qUtf8Printable(fault);
        EXPECT_EQ(job.row, nullptr);
    }
}

}  // namespace
