#include "tests/obkey/TemplateRun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

constexpr char output[] = "<Output><Name>o</Name><Default>d.bin</Default><Value>./o.bin</Value></Output>";

/// The steps for signed images, on a template in a folder of its own that is also the user's home.
struct ImageRun {
    TempFolder folder;
    Obkey engine;

    ImageRun() {
        engine.imgtoolPath = QStringLiteral(IMGTOOL_STAND_IN);
        qputenv("HOME", folder.path("").toUtf8());
        qputenv("IMGTOOL_RECORD", folder.path("arguments").toUtf8());
        qputenv("IMGTOOL_ANSWER", "");
        qputenv("IMGTOOL_STATUS", "0");
    }

    /// The result of the run; -1 if the template wasn't loaded.
    int generate(const QByteArray& params, const QByteArray& links = QByteArray()) {
        const QByteArray text = templateText("<McubootFormat><GlobalParam><Command>sign</Command><Title>t</Title>" +
                                             links + "</GlobalParam>" + params + "</McubootFormat>");
        const QString path = folder.write("image.xml", text);
        engine.startImageJob();
        if (!engine.loadTemplate(path)) {
            return -1;
        }
        engine.addImageConfig(path);
        return engine.generateImage();
    }

    /// The arguments that imgtool got, one a line; "@" is the template's folder.
    std::string arguments() const {
        const QByteArray home = folder.path("").toUtf8();
        return folder.read("arguments").replace(home, "@").trimmed().toStdString();
    }
};

QByteArray param(const QByteArray& tags, const QByteArray& name = "n") {
    return "<Param><Name>" + name + "</Name>" + tags + "</Param>";
}

}  // namespace

TEST(ImageGenerator, Arguments) {
    struct Row {
        QByteArray params;
        const char* arguments;  ///< between the subcommand and the output
    };
    const QByteArray file = "<Type>File</Type><Command>-k</Command><Default>./a.pem</Default>";
    const QByteArray dependency = "<Type>Dependency</Type><Default>1, 2.3.4</Default>";
    const QByteArray other = "<Type>Text</Type><Command>-c</Command><Default>d</Default>";
    const Row rows[] = {
        {param(file), "\n-k\n@/./a.pem\n@/./o.bin"},
        {param(file + "<Value>a.pem</Value><Hidden>1</Hidden>"), "\n-k\na.pem\n@/./o.bin"},
        {param(dependency), "\n(1, 2.3.4)\n/./o.bin"},
        {param(dependency + "<Value>v</Value><Hidden>1</Hidden>"), "\n(v)\n/./o.bin"},
        {param(other), "\n-c\nd\n/./o.bin"},
        {param(other + "<Value>v</Value><Enable>4</Enable>"), "\n-c\nv\n/./o.bin"},
        {param(other + "<Enable>0</Enable>"), "\n/./o.bin"},
        {param(other + "<Enable>0</Enable><Hidden>1</Hidden>"), "\n-c\nd\n/./o.bin"},
        {param(other + "<Value></Value><Hidden>1</Hidden>"), "\n-c\nd\n/./o.bin"},
        {param("<Type>Flag</Type><Command>--pad</Command><Default/><Hidden>1</Hidden>"), "\n--pad\n/./o.bin"},
        {QByteArray(output) + param(other), "\n/./o.bin"},
    };
    for (const Row& row : rows) {
        ImageRun run;
        const MessageCapture capture;
        EXPECT_EQ(run.generate(row.params + output), 0) << row.params.constData();
        EXPECT_EQ(run.arguments(), std::string("sign") + row.arguments);
        EXPECT_EQ(capture.texts(), std::vector<std::string>{"Image generated successfully \n"});
    }
}

TEST(ImageGenerator, LinkedTemplates) {
    const QByteArray linked = obdata(
        "<File><Name>key</Name><Size>1</Size><Default>./root.der</Default></File>"
        "<Data><Name>size</Name><Default>5</Default><Value>0x8000000</Value></Data>"
        "<Permission><Name>mask</Name><defaultValue>0x7</defaultValue></Permission>"
        "<Permission><Name>far</Name><Width>1</Width><Value>0x9</Value></Permission>");
    struct Row {
        const char* name;
        const char* type;
        const char* link;
        const char* arguments;
    };
    const Row rows[] = {
        {"key", "File", "#2#GetPublic", "\n@/./sub/./root_pub.pem"},
        {"key", "File", "#2#", "\n@/./sub/./root.pem"},
        {"size", "Data", "#2#", "\n5"},
        {"size", "Data", "#2#+0x400", "\n0x405"},
        {"size", "Data", "#2#+4294967295", "\n0x4"},
        {"size", "Data", "#1#", ""},
        {"mask", "Data", "#2#", "\n0x7"},
        {"far", "Data", "#2#", "\nown"},
        {"unknown", "Data", "#2#", "\nown"},
        {"size", "Other", "#2#", ""},
    };
    for (const Row& row : rows) {
        ImageRun run;
        QDir(run.folder.path("")).mkdir(QStringLiteral("sub"));
        run.folder.write("sub/linked.xml", linked);
        run.folder.write("sub/root_pub.pem", "key");
        run.folder.write("sub/root.pem", "key");
        const QByteArray tags =
            QByteArray("<Type>") + row.type + "</Type><Link>" + row.link + "</Link><Default>own</Default>";
        EXPECT_EQ(run.generate(param(tags, row.name) + output,
                               "<LinkedXML>#1#./none.xml</LinkedXML><LinkedXML>#2#./sub/linked.xml</LinkedXML>"),
                  0);
        EXPECT_EQ(run.arguments(), std::string("sign") + row.arguments + "\n@/./o.bin") << row.name << row.link;
    }
}

TEST(ImageGenerator, Faults) {
    const auto version = [](const char* name, const char* number) {
        return param(QByteArray("<Type>Text</Type><Default>9.9</Default><Value>") + number + "</Value>", name);
    };
    const QByteArray link = "<Link>x</Link><Default>d</Default>";
    const QByteArray indexed = "<Link>#1#x</Link><Default>d</Default>";
    const QByteArray plainXml = "<LinkedXML>none.xml</LinkedXML>";
    const QByteArray indexedXml = "<LinkedXML>#1#none.xml</LinkedXML>";
    const std::string invalid = "Upload a valid input XML File.\nPlease check ";
    const std::string failed = "Fail to Generate Image\n\nImgtool :";
    const std::string versionFault = failed + "Error: Invalid value for '-v' / '--version': Invalid version number, ";
    const std::string dependencyFault =
        failed + "Error: Invalid value for '-d' / '--dependency': Invalid dependency number, ";
    struct Row {
        QByteArray params;
        QByteArray links;
        const char* answer;
        int result;
        std::string message;
    };
    const Row rows[] = {
        {param("<Type>File</Type><Enable>0</Enable>"), "", "", 1,
         "Fail MCUboot Format Generation Check Default Value of n Param \n"},
        {"<Output><Default>d</Default></Output>", "", "", 1,
         "The Output of the template has no Value, the path of the image to write."},
        {param("<Link>a#b</Link>"), "", "", -1, invalid + "Link Tag format!"},
        {param(indexed), plainXml, "", -1, invalid + "Link Tag format!"},
        {param(link), indexedXml + indexedXml, "", -1, invalid + "Link Tag format!"},
        {"", "<LinkedXML>a#b</LinkedXML>", "", -1, invalid + "LinkedXML Tag format:"},
        {"", plainXml + indexedXml, "", -1, invalid + "LinkedXML Tag format:"},
        {"", indexedXml, "", -1, invalid + "LinkedXML syntaxe.\nAn extra LinkedXML file Index is found!"},
        {"", "", "Usage\\nError: bad key", 6, failed + ": bad key "},
        {"", "", "[Errno 2] No such file", 6, failed + "o such file "},
        {"", "", "a warning", 6, failed + "a warning "},
        {version("Version", "1.2"), "", "", 6, versionFault + "should be maj.min.rev+build with later parts optional "},
        {version("Version", "1.256.0"), "", "said", 6, versionFault + "ubyte format requires 0 <= number <= 255  "},
        {version("Version", "1.255.65536"), "", "", 6, versionFault + "ushort format requires 0 <= number <= 65535  "},
        {version("Dependency with code image", "1.2.3"), "", "", 6,
         dependencyFault + "should be maj.min.rev+build with later parts optional "},
        {version("Dependency with code image", "0,256.2.3"), "", "", 6,
         dependencyFault + "ubyte format requires 0 <= number <= 255  "},
        {version("Dependency with code image", "0, 2.3.70000"), "", "", 6,
         dependencyFault + "ushort format requires 0 <= number <= 65535  "},
        {version("Version", "1.x.99999+4"), "", "", 0, ""},
    };
    for (const Row& row : rows) {
        ImageRun run;
        qputenv("IMGTOOL_ANSWER", row.answer);
        const MessageCapture capture;
        EXPECT_EQ(run.generate(row.params + output, row.links), row.result) << row.message;
        EXPECT_EQ(capture.texts(5),
                  row.result == 0 ? std::vector<std::string>() : std::vector<std::string>{"Error: " + row.message});
    }
    ImageRun run;
    run.folder.write("linked.xml", obdata("<File><Name>n</Name><Default>a.pem</Default></File>"));
    const MessageCapture capture;
    EXPECT_EQ(run.generate(param("<Type>File</Type>" + link) + output, "<LinkedXML>./linked.xml</LinkedXML>"), 7);
    qputenv("IMGTOOL_STATUS", "3");
    EXPECT_EQ(run.generate(output), 5);
    run.engine.imgtoolPath = run.folder.path("none");
    EXPECT_EQ(run.generate(output), 5);
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Error: key File a.pem not exist \n",
                                                         "Error: Image Generation Process Failed \n",
                                                         "Error: Image Generation Process Failed \n"}));
}

TEST(ImageGenerator, LogAndWriteBack) {
    ImageRun run;
    const QByteArray before =
        param("<Type>T</Type><Command>-c</Command><Enable>5</Enable><Default>d</Default>") + "<!-- kept -->" + output;
    ASSERT_EQ(run.generate(before), 0);
    const QByteArray after = QByteArray(before)
                                 .replace("<Name>n</Name>", "<Name>n</Name><Value>d</Value>\r\n\t\t")
                                 .replace("<Enable>5", "<Enable>1")
                                 .replace("<Default>d.bin</Default><Value>./o.bin</Value>",
                                          "<Value>./o.bin</Value>\r\n\t\t<Default>d.bin</Default>");
    EXPECT_THAT(run.folder.read("image.xml").toStdString(), testing::HasSubstr(after.toStdString()));
    const QByteArray log = QByteArray(IMGTOOL_STAND_IN) + " sign -c d /./o.bin\n\r";
    EXPECT_EQ(run.folder.read("Veltrane/QVORAFlashDesk/imgtool-command.log"), log);
    qputenv("IMGTOOL_ANSWER", "said");
    ASSERT_EQ(run.generate(output), 6);
    EXPECT_EQ(run.folder.read("Veltrane/QVORAFlashDesk/imgtool-command.log"),
              QByteArray(IMGTOOL_STAND_IN) + " sign /./o.bin\n\rsaid");
}

TEST(ImageGenerator, TagChecksOfTheFormat) {
    const QByteArray global = "<GlobalParam><Title>t</Title><Command>c</Command></GlobalParam>";
    const QByteArray good = param("<Type>t</Type><Default>d</Default><Value>1</Value><Value>2</Value>");
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
        std::string duplicates;
        std::string mandatory;
    };
    const Row rows[] = {
        {global + good + output, "", ""},
        {good + output, noGlobal, noGlobal},
        {global + good, missing("Output", "Default"), missing("Output", "Default")},
        {"<GlobalParam><Command>c</Command></GlobalParam>" + QByteArray(output), "", missing("GlobalParam", "Title")},
        {"<GlobalParam><Title>c</Title></GlobalParam>" + QByteArray(output), "", missing("GlobalParam", "Command")},
        {global + param("<Default/>") + output, "", missing("Param", "Type")},
        {global + param("<Type/>") + output, "", missing("Param", "Default")},
        {global + good + param("<Type/><Default/><Type/>") + output, twice("Param", "Type"), ""},
        {global + global + output, twice("GlobalParam", "Title"), ""},
        {global + output + output, twice("Output", "duplicateElementCheck"), ""},
    };
    for (const Row& row : rows) {
        Obkey engine;
        TempFolder folder;
        ASSERT_TRUE(engine.loadTemplate(
            folder.write("t.xml", templateText("<McubootFormat>" + row.elements + "</McubootFormat>"))));
        std::vector<std::string> expected;
        for (const std::string& message : {row.duplicates, row.mandatory}) {
            if (!message.empty()) {
                expected.push_back("Error: " + message);
            }
        }
        const MessageCapture capture;
        EXPECT_EQ(engine.checkMcubootDuplicateTags(), row.duplicates.empty()) << row.elements.constData();
        EXPECT_EQ(engine.checkMcubootMandatoryTags(), row.mandatory.empty()) << row.elements.constData();
        EXPECT_EQ(capture.texts(), expected);
    }
}

TEST(ImageGenerator, ExampleTemplatesWorkTogether) {
    ImageRun run;
    const QString provisioning =
        run.folder.write("provisioning.xml", fileContent(QStringLiteral(EXAMPLES "/provisioning.xml")));
    const QString image = run.folder.write("image.xml", fileContent(QStringLiteral(EXAMPLES "/image.xml")));
    const MessageCapture capture;
    run.engine.startObkeyJob(provisioning);
    EXPECT_TRUE(run.engine.loadTemplate(provisioning) && run.engine.checkDuplicateTags() &&
                run.engine.checkMandatoryTags() && run.engine.checkLayout());
    EXPECT_EQ(run.engine.params.size(), 6);
    run.engine.startImageJob();
    EXPECT_TRUE(run.engine.loadTemplate(image) && run.engine.checkMcubootDuplicateTags() &&
                run.engine.checkMcubootMandatoryTags());
    run.engine.addImageConfig(image);
    EXPECT_EQ(run.engine.generateImage(), 0);
    EXPECT_EQ(run.arguments(),
              "sign\n-k\n@/./keys/authentication.pem\n-S\n0x00040000\n-v\n1.0.0\n-H\n0x400\n"
              "--pad-header\n@/./firmware.bin\n@/./firmware_signed.bin");
}
