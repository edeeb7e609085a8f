#include "obkey/readMcuboot.h"
#include "obkey/tagChecks.h"
#include "tests/obkey/TemplateRun.h"
#include "tests/support/ownProcess.h"

#include <QDir>
#include <QThread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>

namespace {

constexpr char output[] = "Output;Name=o;Default=d.bin;Value=./o.bin";

/// One run of the steps for signed images, with a template in its own folder, which is also the user's home.
struct ImageRun {
    TempFolder folder;
    obkey::Obkey engine;

    explicit ImageRun(const QString& imgtoolPath = QStringLiteral(TEST_FILES "imgtool-stand-in.sh"))
        : engine(imgtoolPath) {
        qputenv("HOME", folder.path("").toUtf8());
        qputenv("IMGTOOL_RECORD", folder.path("arguments").toUtf8());
        qputenv("IMGTOOL_ANSWER", "");
        qputenv("IMGTOOL_STATUS", "0");
    }

    /// Returns the status of the run; -1 if the template can't be loaded.
    int generate(const QByteArray& content) {
        const QString path = folder.write("image.xml", templateText("<McubootFormat>" + content + "</McubootFormat>"));
        engine.startImageJob();
        if (!engine.loadTemplate(path)) {
            return -1;
        }
        engine.addImageConfig(path);
        return engine.generateImage();
    }

    /// The arguments that imgtool received, separated by blanks. "@" replaces the template's folder.
    std::string arguments() const {
        const QByteArray home = folder.path("").toUtf8();
        return folder.read("arguments").replace(home, "@").trimmed().replace('\n', ' ').toStdString();
    }
};

/// Reads `content` as an `McubootFormat` template.
obkey::McubootTemplate readImage(const QByteArray& content) {
    const TempFolder folder;
    const obkey::TemplateDocument document = obkey::openDocument(folder.write("t.xml", templateText(content)));
    obkey::TemplateFormat format = obkey::formatObdata;
    obkey::McubootTemplate mcuboot;
    EXPECT_TRUE(obkey::readMcuboot(obkey::contentNode(document, format), mcuboot));
    EXPECT_EQ(format, obkey::formatMcuboot);
    return mcuboot;
}

}  // namespace

TEST(GenerateImage, ArgumentsAndFaults) {
    const QList<TemplateCase> cases = readCases("image-cases.txt", "GlobalParam;Command=sign;Title=t", output);
    ASSERT_GT(cases.size(), 25);
    for (const TemplateCase& imageCase : cases) {
        ImageRun run;
        qputenv("IMGTOOL_ANSWER", imageCase.signedLines['<']);
        const MessageCapture capture;
        const int status = run.generate(imageCase.elements);
        EXPECT_EQ(status, imageCase.signedLines['!'].split(' ').first().toInt()) << imageCase.elements.constData();
        EXPECT_EQ(capture.texts(5), imageCase.errors()) << imageCase.elements.constData();
        if (status == 0) {
            EXPECT_EQ(run.arguments(), imageCase.signedLines['='].toStdString());
            EXPECT_EQ(capture.texts(1), std::vector<std::string>{"Image generated successfully \n"});
        }
    }
    ImageRun run;
    QByteArray linked = obdata(elements("File;Name=n;Default=a.pem"));
    run.folder.write("linked.xml", linked.replace("</Obdata>", "<no:prefix/></Obdata>"));
    const MessageCapture capture;
    EXPECT_EQ(run.generate(elements("GlobalParam;LinkedXML=./linked.xml\nParam;Name=n;Type=File;Link=x;Default=d")), 7);
    qputenv("IMGTOOL_STATUS", "3");
    EXPECT_EQ(run.generate(elements(output)), 5);
    EXPECT_EQ(run.generate(elements("Param;Name=Version;Type=Text;Default=1\n" + QByteArray(output))), 6);
    ImageRun none(QStringLiteral("none"));
    EXPECT_EQ(none.generate(elements(output)), 5);
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Error: key File a.pem not exist \n",
                                                         "Error: Image Generation Process Failed \n",
                                                         "Error: Fail to Generate Image\n\nImgtool :Error: Invalid "
                                                         "value for '-v' / '--version': Invalid version number, "
                                                         "should be maj.min.rev+build with later parts optional ",
                                                         "Error: Image Generation Process Failed \n"}));
}

TEST(GenerateImage, LinkedTemplates) {
    const QByteArray linked =
        obdata(elements("File;Name=key;Size=1;Default=./root.der\n"
                        "Data;Name=size;Default=5;Value=0x8000000\n"
                        "Permission;Name=mask;defaultValue=0x7\n"
                        "Permission;Name=far;Width=1;Value=0x9"));
    struct Row {
        const char *name, *type, *link, *arguments;
    };
    const Row rows[] = {
        {"key", "File", "#2#GetPublic", " @/./sub/./root_pub.pem"},
        {"key", "File", "#2#", " @/./sub/./root.pem"},
        {"size", "Data", "#2#", " 5"},
        {"size", "Data", "#2#+0x400", " 0x405"},
        {"size", "Data", "#2#+4294967295", " 0x4"},
        {"size", "Data", "#2#+0x80000000", " 0x80000005"},
        {"size", "Data", "#1#", ""},
        {"mask", "Data", "#2#", " 0x7"},
        {"far", "Data", "#2#", " own"},
        {"unknown", "Data", "#2#", " own"},
        {"size", "Other", "#2#", ""},
    };
    for (const Row& row : rows) {
        ImageRun run;
        QDir(run.folder.path("")).mkdir(QStringLiteral("sub"));
        run.folder.write("sub/linked.xml", linked);
        run.folder.write("sub/root_pub.pem", "key");
        run.folder.write("sub/root.pem", "key");
        const QByteArray text =
            QByteArray("GlobalParam;Command=sign;LinkedXML=#1#./none.xml;LinkedXML=#2#./sub/linked.xml\n") +
            "Param;Name=" + row.name + ";Type=" + row.type + ";Link=" + row.link + ";Default=own\n";
        EXPECT_EQ(run.generate(elements(text + output)), 0);
        EXPECT_EQ(run.arguments(), std::string("sign") + row.arguments + " @/./o.bin") << row.name << row.link;
    }
}

TEST(GenerateImage, ManyLinkedTemplates) {
    ImageRun run;
    QByteArray lines = "GlobalParam;Command=sign";
    std::string arguments = "sign";
    for (int i = 1; i <= 40; ++i) {
        const QByteArray n = QByteArray::number(i % 20 + 1);
        run.folder.write(("linked" + n + ".xml").constData(), obdata(elements("Data;Name=a;Default=" + n)));
        lines += i <= 20 ? ";LinkedXML=#" + n + "#./linked" + n + ".xml" : QByteArray();
    }
    for (int i = 1; i <= 40; ++i) {
        const QByteArray n = QByteArray::number(i % 20 + 1);
        lines += "\nParam;Name=a;Type=Data;Default=own;Link=#" + n + "#";
        arguments += " " + n.toStdString();
    }
    EXPECT_EQ(run.generate(elements(lines + "\n" + output)), 0);
    EXPECT_EQ(run.arguments(), arguments + " @/./o.bin");
}

TEST(GenerateImage, NoInputIsWrittenOver) {
    const QByteArray global = "GlobalParam;Command=sign;LinkedXML=./linked.xml\n";
    const QByteArray key = "Param;Name=key;Type=File;Default=d;Link=x\n";
    for (const char* const input : {"image.xml", "linked.xml", "root.pem"}) {
        ImageRun run;
        run.folder.write("linked.xml", obdata(elements("File;Name=key;Default=./root.pem")));
        run.folder.write("root.pem", "key");
        const QByteArray last = QByteArray("Output;Name=o;Value=") + run.folder.path(input).toUtf8();
        const MessageCapture capture;
        EXPECT_EQ(run.generate(elements(global + key + last)), 1);
        EXPECT_EQ(capture.texts(),
                  std::vector<std::string>{"Error: Fail to Generate Image: the output " +
                                           run.folder.path(input).toStdString() + " is an input of the template"});
        EXPECT_FALSE(QFile::exists(run.folder.path("arguments")));
    }
}

TEST(GenerateImage, LogAndWriteBack) {
    ImageRun run;
    const QByteArray before =
        elements("GlobalParam;Command=sign\nParam;Name=n;Type=T;Command=-c;Enable=5;Default=d\n") + "<!-- kept -->" +
        elements(output);
    ASSERT_EQ(run.generate(before), 0);
    const QByteArray after = QByteArray(before)
                                 .replace("<Name>n</Name>", "<Name>n</Name><Value>d</Value>\r\n\t\t")
                                 .replace("<Enable>5", "<Enable>1")
                                 .replace("<Default>d.bin</Default><Value>./o.bin</Value>",
                                          "<Value>./o.bin</Value>\r\n\t\t<Default>d.bin</Default>");
    EXPECT_THAT(run.folder.read("image.xml").toStdString(), testing::HasSubstr(after.toStdString()));
    const QByteArray log = QByteArray(TEST_FILES "imgtool-stand-in.sh") + " sign -c d /./o.bin\n\r";
    EXPECT_EQ(run.folder.read("Veltrane/QVORAFlashDesk/imgtool-command.log"), log);
    qputenv("IMGTOOL_ANSWER", "said");
    ASSERT_EQ(run.generate(elements(output)), 6);
    EXPECT_EQ(run.folder.read("Veltrane/QVORAFlashDesk/imgtool-command.log"),
              QByteArray(TEST_FILES "imgtool-stand-in.sh") + " /./o.bin\n\rsaid");
}

// imgtool overwrites its output in place. The older image is restored unless the whole run succeeds.
TEST(GenerateImage, AnOlderImageSurvivesAFailure) {
    const QByteArray image = elements("GlobalParam;Command=sign\nParam;Name=n;Type=File;Default=./o.bin\n") +
                             elements("Output;Name=o;Value=./o.bin");
    const QByteArray old(3000, 'o');
    constexpr char writeHalf[] =
        "for last; do :; done; cat \"${last%/*}\"/.older-* 2>/dev/null >\"${last%/*}/kept\"; printf half >\"$last\"; ";
    struct Row {
        const char* name;
        const char* fault;
        int status;
        bool isOldBack;     ///< the older image is restored
        bool isNewRemoved;  ///< without an older image, the new one is removed
    };
    const Row rows[] = {
        {"success", "exit 0", 0, false, false},
        {"fault", "echo Error: full; exit 1", 6, true, true},
        {"silent fault", "exit 1", 5, true, true},
        {"killed", "kill -9 $$", 5, true, true},
        {"removes its output and talks", "rm \"$last\"; echo talk", 6, true, true},
        {"talks", "echo talk", 6, true, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        ImageRun run;
        const MessageCapture capture;
        qputenv("IMGTOOL_FAULT", QByteArray(writeHalf) + row.fault + "; exit");
        EXPECT_EQ(run.generate(image), row.status);
        EXPECT_EQ(QFile::exists(run.folder.path("o.bin")), !row.isNewRemoved);
        const QByteArray path = run.folder.write("target", old).toUtf8();
        QFile::remove(run.folder.path("o.bin"));
        QFile::link(run.folder.path("target"), run.folder.path("o.bin"));
        chmod(path.constData(), 0640);
        EXPECT_EQ(run.generate(image), row.status);
        qunsetenv("IMGTOOL_FAULT");
        struct stat file {};
        EXPECT_EQ(stat(path.constData(), &file), 0);
        EXPECT_EQ(file.st_mode & 07777, 0640U);
        EXPECT_EQ(run.folder.read("target"), row.isOldBack ? old : "half");
        EXPECT_EQ(run.folder.read("kept"), old) << "what would be left if this process were killed";
        EXPECT_TRUE(
            QDir(run.folder.path("")).entryList({QStringLiteral(".older-*")}, QDir::Files | QDir::Hidden).empty());
    }
}

// Tests disks with and without room for the copy, a read-only folder, and a file that is a mount point.
TEST(GenerateImage, AnOlderImageSurvivesAFullDisk) {
    const QByteArray image =
        elements("GlobalParam;Command=sign\nParam;Name=n;Type=File;Default=./t\nOutput;Name=o;Value=./disk/o.bin");
    for (const qsizetype oldSize : {20000, 60000}) {
        for (const char* const kind : {"plain", "folder", "file"}) {
            ImageRun run;
            const QByteArray place = run.folder.path("disk").toUtf8();
            const QByteArray path = run.folder.path("disk/o.bin").toUtf8();
            QDir().mkdir(run.folder.path("disk"));
            qputenv("IMGTOOL_FAULT", "for last; do :; done; cat /dev/zero >\"$last\" 2>/dev/null; exit 1");
            const int status = inOwnProcess([&] {
                ownMounts();
                if (mount("none", place.constData(), "tmpfs", 0, "size=96k") != 0) {
                    _exit(childSkipped);
                }
                const QByteArray old(oldSize, 'o');
                run.folder.write("disk/o.bin", old);
                if (QByteArrayView(kind) == "file") {
                    mount(path.constData(), path.constData(), nullptr, MS_BIND, nullptr);
                } else if (QByteArrayView(kind) == "folder") {
                    chmod(run.folder.path("").toUtf8().constData(), 0777);
                    chmod(path.constData(), 0666);
                    chmod(place.constData(), 0555);
                    dropRoot();
                }
                const MessageCapture capture;
                return run.generate(image) == 5 && run.folder.read("disk/o.bin") == old &&
                       capture.texts().size() == 1 &&
                       QDir(run.folder.path("disk")).entryList(QDir::Files | QDir::Hidden).size() == 1;
            });
            qunsetenv("IMGTOOL_FAULT");
            EXPECT_TRUE(status == 0 || status == childSkipped) << kind << oldSize;
        }
    }
}

TEST(GenerateImage, AnInterruptionEndsImgtoolAndPutsTheOlderImageBack) {
    const QByteArray image =
        elements("GlobalParam;Command=sign\nParam;Name=n;Type=File;Default=./t\nOutput;Name=o;Value=./o.bin");
    for (const int signal : {SIGINT, SIGTERM}) {
        ImageRun run;
        run.folder.write("o.bin", "old");
        qputenv("IMGTOOL_FAULT",
                "for last; do :; done; printf half >\"$last\"; sleep 60 & echo $! >\"$last.pid\"; wait");
        const pid_t child = fork();
        if (child == 0) {
            const MessageCapture capture;
            _exit(run.generate(image));
        }
        qunsetenv("IMGTOOL_FAULT");
        for (int i = 0; i < 1000 && run.folder.read("o.bin.pid").isEmpty(); ++i) {
            QThread::msleep(10);
        }
        EXPECT_EQ(run.folder.read("o.bin"), "half");
        kill(child, signal);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
        EXPECT_EQ(run.folder.read("o.bin"), "old");
        EXPECT_TRUE(
            QDir(run.folder.path("")).entryList({QStringLiteral(".older-*")}, QDir::Files | QDir::Hidden).empty());
        const auto grandchild = QString::fromUtf8("/proc/" + run.folder.read("o.bin.pid").trimmed() + "/cmdline");
        for (int i = 0; i < 1000 && !fileContent(grandchild).isEmpty(); ++i) {
            QThread::msleep(10);
        }
        EXPECT_EQ(fileContent(grandchild), "") << "a process of imgtool's goes on";
    }
}

TEST(GenerateImage, TagChecksOfTheFormat) {
    const QByteArray global = "GlobalParam;Title=t;Command=c\n";
    const QByteArray good = "Param;Name=n;Type=t;Default=d;Value=1;Value=2\n";
    const auto missing = [](const char* element, const char* tag) {
        return std::string("XML document is invalid : Mandatory Tag under ") + element + " is missing :\"" + tag +
               "\", please update your xml file.";
    };
    const auto twice = [](const char* element, const char* tag) {
        return std::string("XML document is invalid! \"") + tag + "\" Element is duplicated under " + element + " tag.";
    };
    const std::string noGlobal =
        "XML document is invalid : Mandatory Tags under GlobalParam are missing, please update your xml file.";
    struct Row {
        QByteArray elements;
        std::string duplicates, mandatory;
    };
    const Row rows[] = {
        {global + good + output, "", ""},
        {good + output, noGlobal, noGlobal},
        {global + good.trimmed(), missing("Output", "Default"), missing("Output", "Default")},
        {"GlobalParam;Command=c\n" + QByteArray(output), "", missing("GlobalParam", "Title")},
        {"GlobalParam;Title=t\n" + QByteArray(output), "", missing("GlobalParam", "Command")},
        {global + "Param;Default=d\n" + output, "", missing("Param", "Type")},
        {global + "Param;Type=t\n" + output, "", missing("Param", "Default")},
        {global + good + "Param;Name=n;Type=t;Default=d;Type=t\n" + output, twice("Param", "Type"), ""},
        {global + global + output, twice("GlobalParam", "Title"), ""},
        {global + output + "\n" + output, twice("Output", "duplicateElementCheck"), ""},
    };
    for (const Row& row : rows) {
        const obkey::McubootTemplate mcuboot =
            readImage("<McubootFormat>" + elements(row.elements) + "</McubootFormat>");
        std::vector<std::string> expected;
        for (const std::string& message : {row.duplicates, row.mandatory}) {
            if (!message.empty()) {
                expected.push_back("Error: " + message);
            }
        }
        const MessageCapture capture;
        EXPECT_EQ(obkey::checkDuplicateTags(mcuboot.tags), row.duplicates.empty()) << row.elements.constData();
        EXPECT_EQ(obkey::checkMandatoryTags(mcuboot.tags), row.mandatory.empty()) << row.elements.constData();
        EXPECT_EQ(capture.texts(), expected);
    }
}

TEST(GenerateImage, ExampleTemplatesWorkTogether) {
    ImageRun run;
    const QString provisioning =
        run.folder.write("provisioning.xml", fileContent(QStringLiteral(EXAMPLES "/provisioning.xml")));
    const QString image = run.folder.write("image.xml", fileContent(QStringLiteral(EXAMPLES "/image.xml")));
    const MessageCapture capture;
    run.engine.startObkeyJob(provisioning);
    EXPECT_TRUE(run.engine.loadTemplate(provisioning) && run.engine.checkDuplicateTags() &&
                run.engine.checkMandatoryTags() && run.engine.checkLayout());
    run.engine.startImageJob();
    EXPECT_TRUE(run.engine.loadTemplate(image));
    const obkey::McubootTemplate mcuboot =
        readImage(run.folder.read("image.xml")
                      .replace("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root>", "")
                      .replace("</Root>", ""));
    EXPECT_TRUE(obkey::checkDuplicateTags(mcuboot.tags) && obkey::checkMandatoryTags(mcuboot.tags));
    run.engine.addImageConfig(image);
    EXPECT_EQ(run.engine.generateImage(), 0);
    EXPECT_EQ(run.arguments(),
              "sign -k @/./keys/authentication.pem -S 0x00040000 -v 1.0.0 -H 0x400 --pad-header --align 16 "
              "@/./blink.hex @/./blink_signed.hex");
}
