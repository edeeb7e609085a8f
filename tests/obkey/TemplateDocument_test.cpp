#include "obkey/readObdata.h"
#include "tests/obkey/TemplateRun.h"

#include <QXmlStreamReader>

#include <gtest/gtest.h>

#include <random>

namespace {

const QByteArray declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
constexpr char strangeTag[] =
    "The tag mentioned may be a strange tag or even an existent one with wrong order, please refer to documentation to "
    "be able to fix the issue. ";

std::string atLine(int line, const std::string& fault) {
    return "Error: XML document is invalid at line: " + std::to_string(line) + ", error type: \" " + fault + " \"" +
           strangeTag + " ";
}

}  // namespace

TEST(TemplateDocument, OtherFilesAreRefused) {
    QByteArray nested = declaration;
    nested.append(QByteArray("<a>").repeated(100000));
    const QByteArray entities = declaration +
                                "<!DOCTYPE Root [<!ENTITY a \"aaaaaaaaaa\">\n<!ENTITY b \"&a;&a;&a;&a;&a;&a;\">]>\n"
                                "<Root>&b;</Root>";
    QByteArray attributes = declaration + "\n<Root";
    for (int i = 0; i < 100000; ++i) {
        attributes.append(" a" + QByteArray::number(i) + "=\"\"");
    }
    struct Row {
        const char* name;
        QByteArray text;
        std::string message;
    };
    const Row rows[] = {
        {"declaration missing", "<Root/>\n", "Error: XML document is invalid! xml version is wrong or missing"},
        {"declaration late", "\n" + declaration + "<Root/>",
         "Error: XML document is invalid! xml version is wrong or missing"},
        {"declaration alone", declaration, "Error: XML document is invalid! Error type: \"Premature end of document. "},
        {"everything on one line", declaration.trimmed() + "<Root/>",
         "Error: XML document is invalid! Error type: \"Premature end of document. "},
        {"wrong end", declaration + "<Root>\n<A></B></Root>", atLine(3, "Opening and ending tag mismatch.")},
        {"deep nesting", nested, atLine(2, "Elements are nested too deep.")},
        {"many elements", declaration + "<Root>" + QByteArray("<a/>").repeated(20000),
         atLine(2, "There are too many elements.")},
        {"entities", entities, atLine(3, "Entities can't be declared in a template.")},
        {"long tag", attributes + "/>", atLine(3, "A tag is too long.")},
        {"long tag after a quoted end", QByteArray(attributes).replace(" a0=", " q='>' a0=") + "/>",
         atLine(3, "A tag is too long.")},
        {"fault after a long tag", declaration + "<Root>\n<a b='" + QByteArray(3000, 'x') + "'/>\n</a></Root>",
         atLine(4, "Opening and ending tag mismatch.")},
        {"fault after a long tag that takes too much time", attributes + "></a></Root>",
         atLine(3, "A tag is too long.")},
        {"default attributes", declaration + "<!DOCTYPE Root [<!ATTLIST b a CDATA 'x'>]><Root/>",
         atLine(2, "Nothing can be declared in a template.")},
    };
    for (const Row& row : rows) {
        TemplateRun run;
        const MessageCapture capture;
        EXPECT_FALSE(run.generate(row.text)) << row.name;
        EXPECT_EQ(capture.texts(), std::vector<std::string>{row.message}) << row.name;
    }
    TemplateRun run;
    const MessageCapture capture;
    EXPECT_FALSE(run.engine.validateTemplate(run.folder.path("none.xml"), run.schema));
    EXPECT_FALSE(run.engine.validateTemplate(run.folder.path("."), run.schema));
    EXPECT_FALSE(run.engine.validateTemplate(QStringLiteral("/dev/zero"), run.schema));
    EXPECT_FALSE(run.engine.validateTemplate(run.schema, QStringLiteral("no.xsd")));
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{
                                   "Error: XML document is invalid! Please insert a valid one.",
                                   "Error: XML document is invalid! Please insert a valid one.",
                                   "Error: XML document is invalid! A template may have 8 MiB at most.",
                                   "Error: The XML Template file \"no.xsd\" is missing! Please check your QVORA Seal "
                                   "Bundle Builder installation folder."}));
}

TEST(TemplateDocument, LimitsAreInclusive) {
    const auto nested = [](int depth) {
        return QByteArray("<a>").repeated(depth) + QByteArray("</a>").repeated(depth);
    };
    const auto longTag = [](int size) { return "<a b='" + QByteArray(size - 9, 'x') + "'/>"; };
    const std::pair<QByteArray, bool> rows[] = {
        {nested(256), true}, {nested(257), false}, {longTag(2048), true}, {longTag(2049), false}};
    for (const auto& [text, isValid] : rows) {
        TemplateRun run;
        const MessageCapture capture;
        const QString path = run.folder.write("t.xml", declaration + text);
        EXPECT_EQ(run.engine.validateTemplate(path, run.schema), isValid) << text.size();
        EXPECT_EQ(obkey::openDocument(path).document != nullptr, isValid) << text.size();
    }
}

// The line in a message is the one that QXmlStreamReader reports for a file opened in text mode.
TEST(TemplateDocument, LinesAreThoseOfAFileInTextMode) {
    const QByteArrayList pieces = {"<A>", "</A>", "<B/>", "x",   "&",   "\r", "\r\n",
                                   "\n",  "\n\r", "<!--", "-->", "]]>", "\t"};
    std::minstd_rand random(29);
    int faults = 0;
    for (int i = 0; i < 400; ++i) {
        QByteArray text = QByteArray(declaration).replace("\n", i % 2 == 0 ? "\r\n" : "\n") + "<Root>";
        for (auto count = random() % 12; count > 0; --count) {
            text += pieces[random() % static_cast<unsigned>(pieces.size())];
        }
        TemplateRun run;
        QFile file(run.folder.write("t.xml", text + "</Root>"));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly | QIODevice::Text));
        file.readLine();
        QXmlStreamReader judge(&file);
        while (!judge.atEnd()) {
            judge.readNext();
        }
        const MessageCapture capture;
        EXPECT_EQ(run.engine.validateTemplate(file.fileName(), run.schema), !judge.hasError());
        if (judge.hasError() && !judge.errorString().startsWith(QLatin1String("Premature"))) {
            ++faults;
            ASSERT_EQ(capture.texts().size(), 1U);
            EXPECT_NE(capture.texts()[0].find(" line: " + std::to_string(judge.lineNumber() + 1) + ","),
                      std::string::npos)
                << text.toHex(' ').constData();
        }
    }
    EXPECT_GT(faults, 100);
}

TEST(TemplateDocument, TheRootIsFoundOnlyAfterTheDeclaration) {
    struct Row {
        QByteArray text;
        bool loads;
        std::uint32_t state, format;
    };
    const Row rows[] = {
        {declaration + "<Root><!-- c --><Obdata><!-- c --></Obdata><Other/></Root>", true, 4, 0},
        {declaration + "<Root><McubootFormat/></Root>", true, 4, 1},
        {declaration + "<Root><Hash/></Root>", true, 4, 0},
        {declaration + "<!-- c --><Root><McubootFormat/></Root>", true, 3, 0},
        {declaration + "<!DOCTYPE Root><Root><McubootFormat/></Root>", true, 3, 0},
        {declaration + "<root/>", true, 3, 0},
        {"<Root><McubootFormat/></Root>", true, 2, 0},
        {declaration + "<Root>", false, 1, 0},
        {declaration + "<Root><Obdata><Strange/></Obdata></Root>", false, 4, 0},
        {declaration + "<Root><Obdata><?Hash?></Obdata></Root>", false, 4, 0},
        {declaration + "<Root><McubootFormat><Data/></McubootFormat></Root>", false, 4, 1},
        {QByteArray(declaration).replace('\n', "<a>").append(QByteArray("<a>").repeated(300)), false, 1, 0},
    };
    for (const Row& row : rows) {
        TemplateRun run;
        const MessageCapture capture;
        EXPECT_EQ(run.engine.loadTemplate(run.folder.write("t.xml", row.text)), row.loads) << row.text.constData();
        const obkey::TemplateDocument document = obkey::openDocument(run.folder.path("t.xml"));
        obkey::TemplateFormat format = obkey::formatObdata;
        static_cast<void>(obkey::contentNode(document, format));
        EXPECT_EQ(document.documentState, row.state) << row.text.constData();
        EXPECT_EQ(format, row.format) << row.text.constData();
        EXPECT_EQ(document.document != nullptr, row.state != 1);
        EXPECT_TRUE(capture.texts().empty());
    }
}

TEST(TemplateDocument, InfoNumbers) {
    const QByteArray info =
        "<Info><Title>t</Title><ObDestAddress>%</ObDestAddress><GlobalAlign>256</GlobalAlign>"
        "<OBKStart>0x10</OBKStart><FlashSize>17</FlashSize><FlashStart></FlashStart></Info>";
    const std::pair<const char*, std::uint32_t> rows[] = {
        {"0x08000000", 0x8000000}, {"0x90000000", 0}, {"08000000", 0}, {"--7FFFFFFF", 0x7FFFFFFF}};
    for (const auto& [text, address] : rows) {
        const TempFolder folder;
        const obkey::TemplateDocument document =
            obkey::openDocument(folder.write("t.xml", obdata(QByteArray(info).replace("%", text))));
        obkey::TemplateFormat format = obkey::formatMcuboot;
        obkey::ObdataTemplate obdata;
        ASSERT_TRUE(obkey::readObdata(obkey::contentNode(document, format), obdata));
        EXPECT_EQ(format, obkey::formatObdata);
        EXPECT_EQ(obdata.info.obDestAddress, address) << text;
        EXPECT_EQ(obdata.info.doEncryption, obkey::ABSENT_VALUE);
        EXPECT_EQ(obdata.info.globalAlign, 0);
        EXPECT_EQ(obdata.info.OBKStart, 0x10U);
        EXPECT_EQ(obdata.info.FlashSize, 17U);
        EXPECT_EQ(obdata.info.FlashStart, 0U);
        EXPECT_EQ(obdata.tags.infoTags.first(), obkey::nameTagMarker);
    }
}
