#include "obkey/templateWriteBack.h"

#include "tests/obkey/TemplateRun.h"

#include <gtest/gtest.h>

TEST(TemplateWriteBack, ValueDirectlyFollowsTheName) {
    struct Row {
        const char *before, *after;
    };
    const Row rows[] = {
        {"<D>\r\n\t\t<Name>a</Name>\r\n\t\t<Width>1</Width></D>",
         "<D>\r\n\t\t<Name>a</Name>\r\n\t\t<Value>7</Value>\r\n\t\t<Width>1</Width></D>"},
        {"<D><Name>a</Name></D>", "<D><Name>a</Name><Value>7</Value>\r\n\t\t</D>"},
        {"<D><Name>a</Name>\n  <Value>1</Value>\n <!--v--><B/></D>",
         "<D><Name>a</Name>\n  <Value>7</Value>\n <!--v--><B/></D>"},
        {"<D><Name>a</Name><Value/><B/></D>", "<D><Name>a</Name><Value>7</Value><B/></D>"},
        {"<D><Name>a</Name>\n<!-- <Value>0</Value> "
         "--><B/>\n<Value>1</Value>\n<Value>2</Value></D><D><Value>3</Value></D>",
         "<D><Name>a</Name>\n<Value>7</Value>\r\n\t\t<!-- <Value>0</Value> --><B/></D><D><Value>3</Value></D>"},
        {"<D>\n<Value>1</Value><C>></C><!-- <D> -->\n<Name>a</Name><C/></D>",
         "<D><C>></C><!-- <D> -->\n<Name>a</Name><Value>7</Value>\r\n\t\t<C/></D>"},
        {"<!-- <D><Name>a</Name></D> --><D><Name>a</Name><B>1</B></D>",
         "<!-- <D><Name>a</Name></D> --><D><Name>a</Name><Value>7</Value>\r\n\t\t<B>1</B></D>"},
        {"<?x?><!-- 1 --><D><T>a --> ?> ]]</T><Name>a</Name><B/></D>",
         "<?x?><!-- 1 --><D><T>a --> ?> ]]</T><Name>a</Name><Value>7</Value>\r\n\t\t<B/></D>"},
        {"<D t=\"x/>y\"><T t='a/>b'/><Name>a</Name><Value unit=\"a/>b\">1</Value></D>",
         "<D t=\"x/>y\"><T t='a/>b'/><Name>a</Name><Value>7</Value></D>"},
        {"<D><![CDATA[<!--]]><Name>a</Name><B/><!----></D>",
         "<D><![CDATA[<!--]]><Name>a</Name><Value>7</Value>\r\n\t\t<B/><!----></D>"},
        {"<!--><Name>a</Name>--><D><Name>a</Name><B/></D>",
         "<!--><Name>a</Name>--><D><Name>a</Name><Value>7</Value>\r\n\t\t<B/></D>"},
        {"<D><Name>b</Name><B>1</B></D>", "<D><Name>b</Name><B>1</B></D>"},
        {"<D><Name>a</Name>", "<D><Name>a</Name>"},
        {"<Name>a</Name><", "<Name>a</Name><"},
    };
    for (const Row& row : rows) {
        QByteArray bytes = row.before;
        obkey::setTemplateValues({{QStringLiteral("a"), QStringLiteral("7")}}, bytes);
        EXPECT_EQ(bytes.toStdString(), row.after);
        obkey::setTemplateValues({{QStringLiteral("a"), std::nullopt}}, bytes);
        EXPECT_EQ(bytes.toStdString(), row.after);
        obkey::setTemplateValues({{QStringLiteral("a"), QStringLiteral("7")}}, bytes);
        EXPECT_EQ(bytes.toStdString(), row.after) << "a second time";
    }
    QByteArray bytes = "<D><Name>a&amp;b</Name><B>1</B></D>";
    obkey::setTemplateValues({{QStringLiteral("a&b"), QStringLiteral("<x> & \r")}}, bytes);
    EXPECT_EQ(bytes, "<D><Name>a&amp;b</Name><Value>&lt;x&gt; &amp; &#13;</Value>\r\n\t\t<B>1</B></D>");
}

// A value is placed at the first element with its name, in any order of the values. The last value for a name is kept.
TEST(TemplateWriteBack, AllValuesArePlacedAtOnce) {
    QByteArray bytes =
        "<R><D><Name>b</Name><Value>0</Value><Enable>7</Enable></D><D><Value>0</Value><Name>a</Name><E/></D>"
        "<D><Name>b</Name><B/></D><D><Name>x>y</Name><B/></D><D><Name></Name><B/></D></R>";
    obkey::setTemplateValues({{QStringLiteral("a"), QStringLiteral("1")},
                              {QStringLiteral("b"), QStringLiteral("2"), 1},
                              {QStringLiteral("b"), QStringLiteral("3"), 0},
                              {QStringLiteral("b"), std::nullopt},
                              {QStringLiteral("x>y"), QStringLiteral("4")},
                              {QStringLiteral("none"), QStringLiteral("5")},
                              {std::nullopt, QStringLiteral("6"), 1}},
                             bytes);
    EXPECT_EQ(
        bytes,
        "<R><D><Name>b</Name><Value>3</Value><Enable>0</Enable></D><D><Name>a</Name><Value>1</Value>\r\n\t\t<E/></D>"
        "<D><Name>b</Name><B/></D><D><Name>x>y</Name><Value>4</Value>\r\n\t\t<B/></D><D><Name></Name><B/></D></R>");
}

TEST(TemplateWriteBack, EveryKindStoresWhatWasUsed) {
    TemplateRun run;
    run.folder.write("k.bin", "k");
    const QByteArray before = obdata(
        "<Info><GlobalAlign>1</GlobalAlign></Info>\n"
        "<Data><Name>d</Name><!-- kept --><Width>1</Width><Default>1</Default></Data>\n"
        "<List><Name>l</Name><Width>1</Width><Default>0x 2</Default></List>\n"
        "<List><Name>h</Name><Width>1</Width><Default>3</Default><Hidden>2</Hidden></List>\n"
        "<File><Name>g</Name><Align>1</Align><KeyType>k</KeyType><Default>k.bin</Default><Hidden>-1</Hidden></File>\n"
        "<File><Name>f</Name><Align>1</Align><KeyType>k</KeyType><Default>k.bin</Default></File>\n"
        "<Output><Name>o</Name><Default>o.bin</Default></Output>");
    ASSERT_TRUE(run.generate(before));
    QByteArray after = before;
    after.replace("<Name>d</Name>", "<Name>d</Name><Value>1</Value>\r\n\t\t");
    after.replace("<Name>l</Name>", "<Name>l</Name><Value>0x2</Value>\r\n\t\t");
    after.replace("<Name>f</Name>", "<Name>f</Name><Value>k.bin</Value>\r\n\t\t");
    EXPECT_EQ(run.folder.read("template.xml"), after);
    EXPECT_EQ(run.folder.read("o.bin"), "\1\2\3kk");
}

// The next run must accept the written template. Of each pair of rows, one is exactly at a limit, the other one above
// it.
TEST(TemplateWriteBack, NoTemplateGrowsBeyondItsLimits) {
    const QByteArray element = "<A><Name>n</Name></A>";
    const QByteArray value = "<Value>1</Value>\r\n\t\t";
    const qsizetype room = (8 << 20) - templateText(element + "<!---->" + value).size();
    const std::pair<QByteArray, std::string> rows[] = {
        {QByteArray("<a/>").repeated(20000 - 4), ""},
        {QByteArray("<a/>").repeated(20000 - 3),
         "Error: XML document is invalid at line: 3, error type: \" There are too many elements. \"The tag mentioned "
         "may be a strange tag or even an existent one with wrong order, please refer to documentation to be able to "
         "fix the issue.  "},
        {"<!--" + QByteArray(room, 'x') + "-->", ""},
        {"<!--" + QByteArray(room + 1, 'x') + "-->",
         "Error: XML document is invalid! A template may have 8 MiB at most."},
    };
    for (const auto& [filling, fault] : rows) {
        const TempFolder folder;
        const QByteArray text = templateText(element + filling);
        const QByteArray edited = fault.empty() ? templateText("<A><Name>n</Name>" + value + "</A>" + filling) : text;
        obkey::ObkeyParam param;
        param.name = QStringLiteral("n");
        param.value = QStringLiteral("1");
        obkey::McubootParam option;
        option.name = param.name;
        option.value = param.value;
        obkey::McubootConfig config;
        config.params.append(option);
        config.xmlPath = folder.write("image.xml", text);
        const MessageCapture capture;
        obkey::rewriteTemplateValues({param}, obkey::PasswordMask(), folder.write("t.xml", text));
        EXPECT_EQ(obkey::saveConfiguration(config), fault.empty());
        EXPECT_TRUE(folder.read("t.xml") == edited && folder.read("image.xml") == edited) << fault;
        EXPECT_EQ(capture.texts(), std::vector<std::string>(fault.empty() ? 0 : 2, fault));
    }
}
