#include "tests/inspect/SealingKit.h"
#include "tests/support/TempFolder.h"
#include "tests/support/outsideTool.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct CallResult {
    int status = -1;
    std::string output;
    std::string errors;
};

CallResult run(const TempFolder& folder, const char* program, const QStringList& arguments,
               const QByteArray& input = {}) {
    QProcess process;
    process.setWorkingDirectory(folder.path("."));
    process.start(QString::fromUtf8(program), arguments);
    process.write(input);
    process.closeWriteChannel();
    CallResult result;
    if (process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit) {
        result.status = process.exitCode();
    }
    result.output = process.readAllStandardOutput().toStdString();
    result.errors = process.readAllStandardError().trimmed().toStdString();
    return result;
}

CallResult runInspect(const TempFolder& folder, const char* arguments, const QByteArray& input = {}) {
    return run(folder, QVORA_INSPECT, QString::fromUtf8(arguments).split(u' ', Qt::SkipEmptyParts), input);
}

/// `script` with the opener as "$0".
CallResult runShell(const TempFolder& folder, const char* script) {
    return run(folder, "/bin/sh", {QStringLiteral("-c"), QString::fromUtf8(script), QStringLiteral(QVORA_INSPECT)});
}

void makeFiles(const TempFolder& folder) {
    folder.write("a.tbi", kitMake(kitInstallImage()));
    folder.write("cut.tbi", kitMake(kitInstallImage()).chopped(1));
    folder.write("key.bin", kitKey);
    folder.write("key15.bin", kitKey.first(15));
    folder.write("line.bin", kitKey + '\n');
    folder.write("other.bin", QByteArray(16, 'k'));
    folder.write("nonce.bin", KitImage().nonce);
    folder.write("noise", "no format");
    for (const char* const name : {"u", "v"}) {
        const KitPair pair = kitUpdate(QByteArray("segment of ") + name, 1);
        folder.write((QByteArray(name) + ".tbuh").constData(), pair.header);
        folder.write((QByteArray(name) + ".segment").constData(), pair.segment);
    }
    KitImage image = kitInstallImage();
    image.nonce = "another";
    folder.write("b.tbi", kitMake(image));
    image.areas[0].payload[5] = 'x';
    image.areas[1].address += 4;
    image.areas[2] = kitHash({image.areas.begin(), image.areas.begin() + 2});
    folder.write("c.tbi", kitMake(image));
    folder.write("signed.bin", kitSign("image", 5).image);
    folder.write("other-signed.bin", kitSign("image", 5).image);
    folder.write("changed-signed.bin", kitSign("imago", 5).image);
    folder.write("raw.bin", QByteArray(17, 'g'));
    folder.write("fw.hex",
                 ":020000040800F2\n"
                 ":10000000666666666666666666666666666666"
                 "6690\n"
                 ":10001000666666666666666666666666666666"
                 "6680\n"
                 ":10002000666666666666666666666666666666"
                 "6670\n:00000001FF\n");
    image.areas = {{'M', 0x08000000, "KMDMAGIC" + QByteArray::fromHex("00000008") + "code", {}, {}, {}, {}, {}},
                   {'M', 0x08020000, QByteArray(48, 'f'), {}, {}, {}, {}, {}}};
    image.areas.push_back(kitHash(image.areas));
    image.areas.push_back({'C', 0, {}, {}, {}, {}, {}, {}});
    folder.write("modules.tbi", kitMake(image));
    folder.write("free.kmd", "KMDMAGIC" + QByteArray(4, '\0') + "code");
    folder.write("broken.hex", ":0200\n");
    folder.write("ob.csv", "A,0x63636363,B,0x63636363\n");
    folder.write("odd.csv", "A,1,B\n");
    for (const char* name : {"key.bin", "other.bin"}) {
        EXPECT_TRUE(QFile::setPermissions(folder.path(name), QFile::ReadOwner | QFile::WriteOwner));
    }
}

TEST(InspectCommandLine, EndsAsItsRowSays) {
    const TempFolder folder;
    makeFiles(folder);
    struct Row {
        const char* arguments;
        int status;
        const char* errors;
        const char* lastLine;
    };
    const Row rows[] = {
        {"", 2, "a command is missing; --help lists them", ""},
        {"open a.tbi", 2, "unknown command open; --help lists them", ""},
        {"show", 2, "a file is missing", ""},
        {"show --key key.bin a.tbi", 2, "show takes no --key", ""},
        {"show --foo a.tbi", 2, "Unknown option 'foo'.", ""},
        {"verify --key key.bin --key key.bin a.tbi", 2, "--key can be given once only", ""},
        {"show --as nothing a.tbi", 2, "unknown format nothing; --help lists them", ""},
        {"show none.tbi", 2, "none.tbi: No such file or directory", ""},
        {"show .", 2, ".: file to open is a directory", ""},
        {"show noise", 2, "noise: no known format; --as names one", ""},
        {"show a.tbi", 0, "", "memory 0x08000100-0x08000110 firmware"},
        {"show --as installImage noise", 1, "", "error: at byte 9: cut off, 19 of 28 bytes are missing"},
        {"show cut.tbi", 1, "", "error: area 4 C at byte 252: cut off, 1 of 8 bytes are missing"},
        {"verify a.tbi", 2, "", "undecided: a.tbi, no key given"},
        {"verify --key key.bin --nonce nonce.bin a.tbi", 0, "", "proven by tag and digest: 253 bytes of a.tbi"},
        {"verify --key key.bin --nonce other.bin a.tbi", 1, "", "wrong: 1 of 8 checks of a.tbi are bad"},
        {"verify --key other.bin a.tbi", 1, "",
         "wrong: 4 of 6 checks of a.tbi are bad; no tag is right: another key or a changed file header"},
        {"verify --key key.bin cut.tbi a.tbi", 1, "", "proven by tag and digest: 253 bytes of a.tbi"},
        {"verify --key key.bin a.tbi none.tbi", 2, "none.tbi: No such file or directory",
         "proven by tag and digest: 253 bytes of a.tbi"},
        {"verify --key key15.bin a.tbi", 2, "key15.bin: a key has 16 bytes, not 15", ""},
        {"verify --key line.bin a.tbi", 2, "line.bin: a key has 16 bytes; there are more, the 17th a line feed", ""},
        {"verify --key - --nonce - a.tbi", 2, "standard input can be given once only", ""},
        {"extract a.tbi", 2, "extract needs -o FOLDER", ""},
        {"extract -o out a.tbi", 2, "", "undecided: a.tbi, no key given"},
        {"extract -o out --key other.bin a.tbi", 1, "",
         "wrong: 4 of 5 checks of a.tbi are bad; no tag is right: another key or a changed file header"},
        {"extract -o none/out --key key.bin a.tbi", 2, "none/out: No such file or directory",
         "proven by tag and digest: 253 bytes of a.tbi"},
        {"extract -o out --key key.bin a.tbi", 0, "", "written to out"},
        {"extract -o out --key key.bin a.tbi", 2, "out: is there already",
         "proven by tag and digest: 253 bytes of a.tbi"},
        {"diff a.tbi", 2, "diff takes two files", ""},
        {"diff a.tbi a.tbi", 0, "", "no difference"},
        {"diff a.tbi b.tbi", 2, "", "undecided: contents not compared, no key given"},
        {"diff --key other.bin a.tbi b.tbi", 2, "a.tbi: no tag is right under the key given", ""},
        {"diff --key key.bin a.tbi b.tbi", 0, "", "no difference"},
        {"diff --key key.bin --key-b other.bin a.tbi b.tbi", 2, "b.tbi: no tag is right under the key given", ""},
        {"diff --key key.bin a.tbi c.tbi", 1, "", "different"},
        {"diff --key key.bin --payload u.segment --payload-b u.segment u.tbuh u.tbuh", 0, "", "no difference"},
        {"diff --key key.bin --payload u.segment --payload-b v.segment u.tbuh v.tbuh", 1, "", "different"},
        {"diff --except-signature a.tbi b.tbi", 2, "not both files have a signature", ""},
        {"diff --except-signature signed.bin other-signed.bin", 0, "", "no difference"},
        {"diff --except-signature signed.bin changed-signed.bin", 1, "", "different"},
        {"verify --against a.tbi", 2, "--against needs what to compare with, such as --firmware", ""},
        {"verify --firmware raw.bin a.tbi", 2, "raw.bin: raw firmware needs its address: FILE@ADDRESS", ""},
        {"verify --firmware broken.hex a.tbi", 2, "broken.hex: parsing addr, expecting hex digit, found '\\u{a}'", ""},
        {"verify --option-bytes odd.csv a.tbi", 2, "odd.csv: an odd number of fields", ""},
        {"verify --option-bytes raw.bin a.tbi", 2, "raw.bin: a line without a comma", ""},
        {"verify --key key.bin --against --firmware fw.hex --firmware raw.bin@0x08000100 --option-bytes ob.csv a.tbi",
         0, "", "proven by comparison and tag and digest: 253 bytes of a.tbi"},
        {"verify --key key.bin --firmware fw.hex a.tbi", 1, "", "wrong: 1 of 8 checks of a.tbi are bad"},
        {"verify --key key.bin --module free.kmd --module fw.hex modules.tbi", 0, "",
         "proven by comparison and tag and digest: 244 bytes of modules.tbi"},
        {"verify --key key.bin --module free.kmd --module raw.bin modules.tbi", 1, "",
         "wrong: 1 of 8 checks of modules.tbi are bad"},
        {"verify --firmware fw.hex a.tbi", 2, "", "undecided: a.tbi, no key given"},
        {"verify --key - a.tbi", 0, "", "proven by tag and digest: 253 bytes of a.tbi"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.arguments);
        const CallResult result = runInspect(folder, row.arguments, kitKey);
        EXPECT_EQ(result.status, row.status);
        EXPECT_EQ(result.errors, *row.errors == '\0' ? "" : std::string("qvora-inspect: ") + row.errors);
        const std::string body = result.output.substr(0, result.output.empty() ? 0 : result.output.size() - 1);
        EXPECT_EQ(body.substr(body.rfind('\n') + 1), row.lastLine);
    }
}

TEST(InspectCommandLine, ExtractsForTheOwnerAloneAndLeavesNothingBehind) {
    const TempFolder folder;
    makeFiles(folder);
    EXPECT_EQ(runInspect(folder, "extract --key other.bin -o bad a.tbi").status, 1);
    EXPECT_EQ(runInspect(folder, "extract --key key.bin -o out a.tbi").status, 0);
    const QDir out(folder.path("out"));
    EXPECT_EQ(out.entryList(QDir::Files).join(u' ').toStdString(),
              "00001-F-08000000.bin 00002-F-08000100.bin 00003-H-00000000.bin 00004-C-00000000.bin manifest.json");
    EXPECT_EQ(folder.read("out/00001-F-08000000.bin"), QByteArray(48, 'f'));
    const QFile::Permissions others = QFile::ReadGroup | QFile::ReadOther;
    EXPECT_EQ(QFile::permissions(folder.path("out")) & others, 0);
    EXPECT_EQ(QFile::permissions(folder.path("out/manifest.json")) & others, 0);
    EXPECT_EQ(QDir(folder.path(".")).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot).join(u' '),
              QStringLiteral("out"));
}

TEST(InspectCommandLine, AFullDiskIsToldAndLeavesNothingBehind) {
    const TempFolder folder;
    makeFiles(folder);
    KitImage image;
    image.areas = {{'F', 0x08000000, QByteArray(5000, 'f'), {}, {}, {}, {}, {}}};
    image.areas.push_back(kitHash(image.areas));
    image.areas.push_back({'C', 0, {}, {}, {}, {}, {}, {}});
    folder.write("large.tbi", kitMake(image));
    const CallResult result = runShell(folder, "ulimit -f 4; exec \"$0\" extract --key key.bin -o out large.tbi");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "qvora-inspect: out: File too large");
    EXPECT_EQ(QDir(folder.path(".")).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot).join(u' '), QString());
}

TEST(InspectCommandLine, TellsWhatDiffersByAddress) {
    const TempFolder folder;
    makeFiles(folder);
    EXPECT_EQ(runInspect(folder, "diff --key key.bin a.tbi c.tbi").output,
              "base IV changed\n"
              "area F: changed 0x08000005-0x08000005\n"
              "area H: changed 0x00000000-0x0000001F\n"
              "area F: moved 0x08000100 -> 0x08000104\n"
              "different\n");
    const std::string output = runInspect(folder, "verify --key key.bin --firmware fw.hex a.tbi").output;
    EXPECT_NE(output.find("\nfirmware: only in image 0x08000100-0x08000110\n"), std::string::npos) << output;
    EXPECT_NE(output.find("option bytes contents against their sources unchecked (not asked for)"), std::string::npos);
}

// Of every kind of output, held against the published schema by an outside validator.
TEST(InspectCommandLine, JsonIsOneDocumentThatKeepsTheSchema) {
    const TempFolder folder;
    makeFiles(folder);
    folder.write("e.tbix", kitMake(kitExternalImage()));
    folder.write("s.pvs", kitMake(kitProvisioningImage()));
    folder.write("m.xtbi", kitPackagedModule());
    folder.write("u.tbuh", kitUpdate("segment", 1).header);
    folder.write("u.tbu", kitUpdate("segment", 1).segment);
    folder.write("inner.bin", kitSign(kitMake(kitInstallImage()), 100).image);
    QByteArray strange = kitMake(kitInstallImage());
    strange[28] = '\xff';
    folder.write("strange.tbi", strange);
    const char* const calls[] = {"show none.tbi",
                                 "",
                                 "--foo",
                                 "show a.tbi cut.tbi strange.tbi e.tbix s.pvs m.xtbi u.tbuh u.tbu signed.bin inner.bin",
                                 "verify --key key.bin a.tbi b.tbi c.tbi cut.tbi e.tbix s.pvs m.xtbi u.tbuh inner.bin",
                                 "verify a.tbi",
                                 "verify --key key.bin --firmware fw.hex --option-bytes ob.csv a.tbi c.tbi",
                                 "extract --key key.bin -o out e.tbix",
                                 "extract --key key.bin -o out e.tbix",
                                 "diff --key key.bin a.tbi c.tbi",
                                 "diff a.tbi b.tbi",
                                 "diff a.tbi s.pvs",
                                 "diff --except-signature a.tbi b.tbi"};
    QString command = QStringLiteral(QVORA_VALIDATE " " QVORA_SCHEMA);
    int index = 0;
    const auto keep = [&](const CallResult& result) {
        const QByteArray name = "call" + QByteArray::number(index++) + ".json";
        command += u' ' + folder.write(name.constData(), QByteArray::fromStdString(result.output));
        EXPECT_EQ(result.output.find_first_of("\x7f\xff"), std::string::npos);
    };
    for (const char* const call : calls) {
        keep(runInspect(folder, ("--json " + std::string(call)).c_str()));
    }
    const CallResult strangeName = runShell(folder, "exec \"$0\" show --json \"$(printf '\\377')\"");
    EXPECT_EQ(strangeName.status, 2);
    EXPECT_EQ(strangeName.errors, "qvora-inspect: argument 3 is not in UTF-8");
    keep(strangeName);
    outsideTool(command.toUtf8());
}

TEST(InspectCommandLine, WarnsOfAKeyThatEverybodyMayRead) {
    const TempFolder folder;
    makeFiles(folder);
    ASSERT_TRUE(QFile::setPermissions(folder.path("key.bin"), QFile::ReadOwner | QFile::ReadOther));
    const CallResult result = runInspect(folder, "verify --key key.bin a.tbi");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "qvora-inspect: warning: key.bin: the key file may be read by everybody");
}

}  // namespace
