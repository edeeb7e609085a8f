#include "tests/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

namespace {

struct FaultRow {
    const char* arguments;
    const char* output;  ///< the name of the older output file in "old"
    int status;
    const char* message;  ///< the end of the output when no file can be written
    bool makesNewFile = false;
};

constexpr FaultRow rows[] = {
    {"-tbi -devid 0x455 -fir blink.elf -k key.bin -n nonce.bin -v 1 -o old/a.tbi", "a.tbi", 1,
     "Error: Error while writing in the output file"},
    {"-tbu -fir blink.hex -k key.bin -n nonce.bin -v 2 -oh old/a.tbuh -os old/a.tbu", "a.tbuh", 1,
     "Error: Error while writing in the tbu header file", true},
    {"-pvs -b secrets.bin -pk oem-public.pem -k key.bin -n nonce16.bin -o old/a.pvs", "a.pvs", 1,
     "Error: Error while writing in the Payload file"},
    {"-pvs-tbi -b secrets.bin -k key.bin -n nonce.bin -iv 1 -o old/b.pvs", "b.pvs", 1,
     "Error: Error while writing in the Payload file"},
    {"-gpdata secrets.bin old/d.bin", "d.bin", 1, "Error: Error while writing in the output file"},
    {"-sign -bin stack.bin -prvk private.pem -v 1 -o old/s.bin", "s.bin", 1,
     "Error: Error while writing in the signed image file | Error: an error occured while preparing signed image"},
    {"-dcu -app secrets.bin -key key.bin -directory old -add B0000000 -mode 0", "Encrypted_Image.bin", 0,
     "Error: Error while writing the file old/Encrypted_Image.bin | Firmware encryption failed"},
    {"-obk ./t.xml", "o.bin", 0, "Error:  OBkey Generation Failed ././old/o.bin is already opened or save error"},
    {"-backupgen -in backup/backup.json -o old/b.bin", "b.bin", 1, "Error: Failed to write old/b.bin file."},
};

constexpr char obkeyTemplate[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<Root><Obdata><Info><GlobalAlign>1</GlobalAlign></Info>"
    "<Bool><Name>n</Name><Width>16</Width><Default>1</Default><True>1</True><False>0</False></Bool>"
    "<Output><Default>./old/o.obk</Default></Output></Obdata></Root>";

// Longer than the encrypted memory image, which overwrites only the start of an older file.
const QByteArray oldContent(2000, 'o');

/// Limits files to five bytes, so that writes fail as on a full disk.
void fillDisk() {
    const rlimit limit{5, 5};
    setrlimit(RLIMIT_FSIZE, &limit);
}

/// Makes the permissions of files apply to root as well.
void dropOverride() {
    prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
}

struct FaultTest : testing::Test {
    const TempFolder folder;

    void SetUp() override {
        QProcess maker;
        maker.setWorkingDirectory(folder.path("."));
        maker.start(QStringLiteral("sh"),
                    {QStringLiteral("-c"),
                     QStringLiteral("cp -r $0/firmware/* $0/provisioning/* $0/backup . && mkdir old && "
                                    "openssl ecparam -name prime256v1 -genkey -noout -out "
                                    "private.pem"),
                     QStringLiteral(QVORA_EXAMPLES)});
        ASSERT_TRUE(maker.waitForFinished() && maker.exitCode() == 0);
        folder.write("stack.bin", QByteArray(64, 's') + QByteArray::fromHex("91293723"));
        folder.write("t.xml", obkeyTemplate);
        for (const FaultRow& row : rows) {
            folder.write(oldPath(row).constData(), oldContent);
        }
    }
    static QByteArray oldPath(const FaultRow& row) { return QByteArray("old/") + row.output; }

    CommandResult run(const char* arguments, void (*prepare)()) const {
        return runCommand(folder.path("."), splitArguments(QString::fromUtf8(arguments)), prepare);
    }
};

TEST_F(FaultTest, FullDiskKeepsTheOldFile) {
    for (const FaultRow& row : rows) {
        const CommandResult result = run(row.arguments, fillDisk);
        EXPECT_EQ(result.status, row.status) << row.arguments;
        EXPECT_TRUE(result.body().ends_with(row.message)) << result.body();
        EXPECT_EQ(folder.read(oldPath(row).constData()), oldContent) << row.arguments;
    }
    EXPECT_EQ(QDir(folder.path("old")).entryList(QDir::Files).size(), qsizetype{std::size(rows)});
}

TEST_F(FaultTest, OverwritesOldFilesInALockedFolder) {
    const auto writable = QFile::permissions(folder.path("old"));
    QFile::setPermissions(folder.path("old"), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    for (const FaultRow& row : rows) {
        const CommandResult result = run(row.arguments, dropOverride);
        EXPECT_EQ(result.status, row.makesNewFile ? row.status : 0) << row.arguments;
        EXPECT_EQ(result.body().find("Error: ") != std::string::npos, row.makesNewFile) << result.body();
        EXPECT_EQ(folder.read(oldPath(row).constData()) == oldContent, row.makesNewFile) << row.arguments;
    }
    EXPECT_EQ(folder.read("old/Encrypted_Image.bin").size(), oldContent.size());
    QFile::setPermissions(folder.path("old"), writable);
}

// A standard output that is full or has lost its reader loses only the messages: the output file is still made.
TEST_F(FaultTest, LostMessagesAreAFailure) {
    void (*const outputs[])() = {[] { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO); },
                                 [] {
                                     int ends[2] = {};
                                     static_cast<void>(pipe(ends));
                                     dup2(ends[1], STDOUT_FILENO);
                                     close(ends[0]);
                                 }};
    for (const auto output : outputs) {
        const CommandResult result = run("-backupgen -in backup/backup.json -o lost.bin", output);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "Standard output could not be written\n");
        EXPECT_FALSE(folder.read("lost.bin").isEmpty());
        QFile::remove(folder.path("lost.bin"));
    }
}

// The reader rejects the new image, because its firmware starts in the last Flash word of a module.
TEST_F(FaultTest, RefusedImageKeepsTheOlderOne) {
    folder.write("m.kmd", QByteArray::fromHex("4b4d444d4147494320000008aabb"));
    ASSERT_TRUE(QFile::link(QStringLiteral("old/a.tbi"), folder.path("link.tbi")));
    const auto expectRefusal = [&](const char* output, void (*prepare)()) {
        const QByteArray arguments = QByteArray("-tbi -devid 0x455 -fir secrets.bin 0x8000030 -m m.kmd -k key.bin ") +
                                     "-n nonce.bin -v 1 -o " + output;
        const CommandResult result = run(arguments.constData(), prepare);
        EXPECT_EQ(result.status, 1);
        EXPECT_TRUE(result.body().ends_with(" | Error: Error while verifying the TBI file")) << result.body();
        EXPECT_EQ(folder.read("old/a.tbi"), oldContent);
    };
    expectRefusal("old/a.tbi", nullptr);
    expectRefusal("link.tbi", nullptr);
    expectRefusal("old/new.tbi", nullptr);
    EXPECT_TRUE(QFileInfo(folder.path("link.tbi")).isSymLink());
    const auto writable = QFile::permissions(folder.path("old"));
    QFile::setPermissions(folder.path("old"), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    expectRefusal("old/a.tbi", dropOverride);
    QFile::setPermissions(folder.path("old"), writable);
    EXPECT_EQ(QDir(folder.path("old")).entryList(QDir::Files | QDir::Hidden).size(), qsizetype{std::size(rows)});
}

// The run has written the header into a hidden file and waits for a reader of the other output, a pipe.
TEST_F(FaultTest, InterruptedRunLeavesNothing) {
    ASSERT_EQ(mkfifo(folder.path("pipe.tbu").toUtf8().constData(), 0600), 0);
    for (const int signal : {SIGINT, SIGTERM}) {
        QProcess process;
        process.setWorkingDirectory(folder.path("."));
        process.start(QStringLiteral(QVORA_TOOL),
                      splitArguments(QStringLiteral("-tbu -fir blink.hex -k key.bin -n nonce.bin -v 2 -oh old/a.tbuh "
                                                    "-os pipe.tbu")));
        const QDir old(folder.path("old"));
        const auto unfinished = [&old] {
            return old.entryList({QStringLiteral(".qvora-*")}, QDir::Files | QDir::Hidden);
        };
        for (int i = 0; i < 1000 && unfinished().isEmpty(); ++i) {
            usleep(10000);
        }
        EXPECT_EQ(unfinished().size(), 1);
        kill(static_cast<pid_t>(process.processId()), signal);
        ASSERT_TRUE(process.waitForFinished());
        EXPECT_EQ(process.exitStatus(), QProcess::CrashExit);  // a shell expects an end by the signal itself
        EXPECT_EQ(unfinished(), QStringList());
        EXPECT_EQ(folder.read("old/a.tbuh"), oldContent);
    }
}

TEST_F(FaultTest, TemplateThatCantBeRewrittenStays) {
    folder.write("t.xml", QByteArray(obkeyTemplate).replace("<Width>16", "<Width>5"));
    CommandResult result = run("-obk ./t.xml", fillDisk);
    EXPECT_TRUE(
        result.body().ends_with("SUCCESS OBKey File Generation  |  | Error:  OBKey XML Generation Failed ./t.xml"));
    QFile::setPermissions(folder.path("t.xml"), QFileDevice::ReadOwner);
    result = run("-obk ./t.xml", dropOverride);
    EXPECT_TRUE(result.body().ends_with("Error: Fail OBkey XML Generation The File ./t.xml is already Opened"));
    EXPECT_EQ(folder.read("old/o.bin"), QByteArray("\1\0\0\0\0", 5));
    EXPECT_FALSE(folder.read("t.xml").contains("<Value>"));
}

TEST_F(FaultTest, PipesAreReadToTheirEnd) {
    constexpr char line[] = "-pvs -b secrets.bin -pk oem-public.pem -k key.bin -n nonce16.bin -o files.pvs";
    ASSERT_EQ(run(line, nullptr).status, 0);
    QProcess shell;
    shell.setWorkingDirectory(folder.path("."));
    shell.start(QStringLiteral("sh"),
                {QStringLiteral("-c"),
                 QStringLiteral("mkfifo b pk.pem k n && { cat secrets.bin >b & cat oem-public.pem >pk.pem & "
                                "cat key.bin >k & cat nonce16.bin >n & } && "
                                "exec \"$0\" -pvs -b b -pk pk.pem -k k -n n -o pipes.pvs"),
                 QStringLiteral(QVORA_TOOL)});
    ASSERT_TRUE(shell.waitForFinished());
    EXPECT_EQ(shell.exitCode(), 0) << shell.readAll().constData();
    EXPECT_EQ(folder.read("pipes.pvs"), folder.read("files.pvs"));

    // Firmware and a module named in a list are pipes.
    folder.write("list.mcsv", "m.bin,none,0x08010000\n");
    shell.start(QStringLiteral("sh"),
                {QStringLiteral("-c"),
                 QStringLiteral("make() { \"$0\" -tbi -devid 0x455 -fir $1 0x08000000 -mcsv list.mcsv -k key.bin "
                                "-n nonce.bin -v 1 -o $2; } && mkfifo f m.bin && { cat key.bin >f & cat secrets.bin "
                                ">m.bin & } && make f a.tbi && cp secrets.bin m2 && mv m2 m.bin && make key.bin b.tbi"),
                 QStringLiteral(QVORA_TOOL)});
    ASSERT_TRUE(shell.waitForFinished());
    EXPECT_EQ(shell.exitCode(), 0) << shell.readAll().constData();
    EXPECT_EQ(folder.read("a.tbi"), folder.read("b.tbi"));

    // The files that a command reads twice are pipes, too.
    shell.start(
        QStringLiteral("sh"),
        {QStringLiteral("-c"),
         QStringLiteral("\"$0\" -backupgen -in backup/backup.json -o all.bin && mkfifo app.bin bk.bin && "
                        "{ cat secrets.bin >app.bin & cat all.bin >bk.bin & } && "
                        "cipher() { mkdir $2 && \"$0\" -dcu -app $1 -key key.bin -directory $2 -add B0000000; } "
                        "&& cipher app.bin p && cipher secrets.bin q && "
                        "make() { \"$0\" -pvs-tbi -b secrets.bin -backup $1 0x10 -k key.bin -n nonce.bin "
                        "-o $2; } && make all.bin b.pvs && make bk.bin a.pvs"),
         QStringLiteral(QVORA_TOOL)});
    ASSERT_TRUE(shell.waitForFinished());
    EXPECT_EQ(shell.exitCode(), 0) << shell.readAll().constData();
    EXPECT_EQ(folder.read("p/Encrypted_Image.bin"), folder.read("q/Encrypted_Image.bin"));
    EXPECT_EQ(folder.read("a.pvs"), folder.read("b.pvs"));
}

// An output to a pipe can't be read back. The tool verifies and lists it from memory and ends as for a file.
TEST_F(FaultTest, PipesAsOutputsEndAsFilesDo) {
    struct Row {
        const char* arguments;  // without the output option
        QString suffix;
        bool warns;
    };
    const Row outputs[] = {
        {"-tbi -devid 0x455 -fir blink.elf -k key.bin -n nonce.bin -v 1", QStringLiteral("tbi"), true},
        {"-pvs-tbi -b secrets.bin -k key.bin -n nonce.bin -iv 1", QStringLiteral("pvs"), true},
        {"-backupgen -in backup/backup.json", QStringLiteral("bin"), false},
    };
    for (const Row& row : outputs) {
        SCOPED_TRACE(row.arguments);
        const QString pipe = QStringLiteral("pipe.") + row.suffix;
        const QString file = QStringLiteral("file.") + row.suffix;
        ASSERT_EQ(mkfifo(folder.path(pipe.toUtf8().constData()).toUtf8().constData(), 0600), 0);
        QProcess reader;
        reader.setWorkingDirectory(folder.path("."));
        reader.start(QStringLiteral("cat"), {pipe});
        const QStringList arguments = splitArguments(QString::fromLatin1(row.arguments)) << QStringLiteral("-o");
        const CommandResult toPipe = runCommand(folder.path("."), arguments + QStringList{pipe});
        const CommandResult toFile = runCommand(folder.path("."), arguments + QStringList{file});
        EXPECT_EQ(toPipe.status, 0);
        std::string expected = QString::fromStdString(toFile.body()).replace(file, pipe).toStdString();
        if (row.warns) {
            expected.insert(0,
                            "Warning: The file " + pipe.toStdString() + " already exists, it will be overwritten | ");
        }
        EXPECT_EQ(toPipe.body(), expected);
        ASSERT_TRUE(reader.waitForFinished());
        EXPECT_EQ(reader.readAllStandardOutput(), folder.read(file.toUtf8().constData()));
    }
}

TEST_F(FaultTest, PairsReplaceBothFilesOrNone) {
    QDir(folder.path("old")).mkdir(QStringLiteral("folder.tbu"));
    const CommandResult result =
        run("-tbu -fir blink.hex -k key.bin -n nonce.bin -v 2 -oh old/a.tbuh -os old/folder.tbu", nullptr);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.body().ends_with("Error: Failed to create output file old/folder.tbu")) << result.body();
    EXPECT_EQ(folder.read("old/a.tbuh"), oldContent);
    EXPECT_EQ(run("-keygen -k new.pem new-public.pem -f new.c none/new.py new.txt", nullptr).status, 0);
    EXPECT_TRUE(QFile::exists(folder.path("new.txt")));
    EXPECT_FALSE(QFile::exists(folder.path("new.c")));
}

// The signed part of an image ends at its mark. The footer contains its length.
TEST_F(FaultTest, SignsUpToTheMark) {
    const struct {
        const char* mark;
        qsizetype position;
        std::uint8_t length;
    } marks[] = {{"91293723", 64, 68}, {"11987642", 0, 4}, {"21922732", 40, 12}, {"21922732", 27, 0}};
    for (const auto& row : marks) {
        folder.write("marked.bin", QByteArray(row.position, 'i') + QByteArray::fromHex(row.mark) + "rest");
        EXPECT_EQ(run("-sign -bin marked.bin -prvk private.pem -v 7 -o marked-s.bin", nullptr).status, 0);
        const QByteArray footer = folder.read("marked-s.bin").right(80);
        EXPECT_EQ(footer.sliced(4, 12).toHex(),
                  "0700000000000000" + QByteArray(1, static_cast<char>(row.length)).toHex() + "000000");
    }
}

TEST_F(FaultTest, KeepsFilesThatTheUserDidntName) {
    folder.write("private_pub.bin", QByteArray(64, 'p'));  // the public key of another pair
    EXPECT_EQ(run("-sign -bin stack.bin -prvk private.pem -v 1 -o none/s.bin", nullptr).status, 1);
    EXPECT_EQ(folder.read("private_pub.bin"), QByteArray(64, 'p'));
    folder.write("private_pub.bin", "something else");
    const CommandResult result = run("-sign -bin stack.bin -prvk private.pem -v 1 -o s.bin", nullptr);
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.body().find("private_pub.bin has other content, the image is signed nevertheless"),
              std::string::npos);
    EXPECT_EQ(folder.read("private_pub.bin"), "something else");
    for (const char* const itemFile : {"backup/key.bin", "backup/nonce.bin"}) {
        const QByteArray old = folder.read(itemFile);
        const QByteArray arguments = QByteArray("-backupgen -in backup/backup.json -o ./") + itemFile;
        const CommandResult backup = run(arguments.constData(), nullptr);
        EXPECT_EQ(backup.status, 1);
        EXPECT_TRUE(backup.body().ends_with(std::string("would replace a file of this item. | ./") + itemFile))
            << backup.body();
        EXPECT_EQ(folder.read(itemFile), old);
    }
}

}  // namespace
