#include "obkey/PasswordMask.h"

#include "obkey/readObdata.h"
#include "tests/obkey/TemplateRun.h"

#include <gtest/gtest.h>

#include <random>

namespace {

/// The password that the reader finds in a template. Empty if the text isn't a template.
obkey::TagText passwordIn(const QByteArray& text) {
    const obkey::TemplateDocument document = obkey::documentOf(text);
    obkey::TemplateFormat format = obkey::formatObdata;
    obkey::ObdataTemplate obdata;
    const bool isRead = document.document != nullptr && obkey::readObdata(obkey::contentNode(document, format), obdata);
    return isRead && obdata.params.size() == 1 ? obdata.params[0].value : std::nullopt;
}

}  // namespace

TEST(PasswordMask, HidesPlainText) {
    const std::pair<const char*, bool> rows[] = {
        {"secret", true},
        {" a&amp;b&lt;&#65;&#x1F600; ", true},
        {"<![CDATA[a<b&]]>", true},
        {"a\r\nb", true},
        {"", false},
        {" \n", false},
        {"&#32;", false},
        {"a<!-- c -->", false},
        {"a&bad;", false},
        {"a&#0;", false},
        {"a&#xD800;", false},
        {"a&amp", false},
        {"a\x01", false},
        {"a\xff", false},
        {"a]]>", false},
        {"<B>a</B>", false},
        {"a&#-65;", false},
        {"a&#;", false},
        {"a\xEF\xBF\xBF", false},
        {"a&#xFFFE;", false},
        {"<![CDATA[]]>", false},
    };
    for (const auto& [raw, isHidden] : rows) {
        const QByteArray text = obdata(QByteArray("<Text><Name>n</Name><Value>") + raw + "</Value></Text>");
        obkey::PasswordMask passwords;
        const QByteArray masked = passwords.mask(text);
        EXPECT_EQ(masked != text, isHidden) << raw;
        EXPECT_EQ(passwords.unmask(masked), text) << raw;
    }
    obkey::PasswordMask passwords;
    const QByteArray text = obdata(
        "<Value>a</Value><Data><Value>b</Value></Data><Text><Value>c</Value><X>d</X>\n<Default u='>'>\ne\n</Default>"
        "<Tooltip><Value>f</Value></Tooltip></Text>");
    const QByteArray masked = passwords.mask(text);
    for (const char* const shown : {"a", "b", "d", "f"}) {
        EXPECT_TRUE(masked.contains(QByteArray(">") + shown + "<")) << shown;
    }
    EXPECT_FALSE(masked.contains(">c<") || masked.contains("e\n"));
    EXPECT_EQ(masked.count('\n'), text.count('\n'));
    // A template that contains the sign of a mark is returned unchanged: nothing in it is masked.
    const QByteArray own = QByteArray(text).replace(">a<",
                                                    ">\xEF\xA3\xBF"
                                                    "0\xEF\xA3\xBF<");
    EXPECT_EQ(passwords.mask(own), own);
}

// The XML reader finds the same password in the plain and in the masked template.
TEST(PasswordMask, HasTheMeaningThatTheReaderFinds) {
    const QByteArrayList pieces = {"a",    "\xC3\xBC",  " ",     "\r",         "\r\n",     "\n",  "&amp;",
                                   "&lt;", "&quot;",    "&#65;", "&#13;",      "&#x20AC;", "]]>", "&b;",
                                   "&",    "<![CDATA[", "]]>",   "<!-- c -->", "\x01"};
    std::minstd_rand random(18);
    int hidden = 0;
    for (int i = 0; i < 600; ++i) {
        QByteArray raw;
        for (auto count = random() % 5; count > 0; --count) {
            raw += pieces[random() % static_cast<unsigned>(pieces.size())];
        }
        raw = i % 4 == 0 ? "<![CDATA[" + raw + "]]>" : raw;
        const QByteArray text = obdata("<Text><Value>" + raw + "</Value></Text>");
        obkey::PasswordMask passwords;
        const QByteArray masked = passwords.mask(text);
        EXPECT_EQ(passwords.unmask(masked), text) << raw.toHex(' ').constData();
        const obkey::TagText plain = passwordIn(text);
        const obkey::TagText marked = passwordIn(masked);
        ASSERT_EQ(plain.has_value(), marked.has_value()) << raw.toHex(' ').constData();
        if (plain) {
            EXPECT_EQ(passwords.passwordOf(*marked), plain->toUtf8()) << raw.toHex(' ').constData();
            hidden += passwords.isMark(*marked) ? 1 : 0;
        }
    }
    EXPECT_GT(hidden, 150);
}

TEST(PasswordMask, WrittenBackAsItWasChosen) {
    TemplateRun run;
    const QByteArray text = obdata(
        "<Info><GlobalAlign>1</GlobalAlign></Info>\n<Text><Name>t</Name><MinWidth>1</MinWidth><Width>9</Width>"
        "<Default>a&quot;&amp;&#13;\nb</Default></Text><Output><Name>o</Name><Default>o.bin</Default></Output>");
    ASSERT_TRUE(run.generate(text));
    EXPECT_EQ(run.folder.read("o.bin"), "a\"&\r\nb");
    EXPECT_EQ(run.folder.read("password.bin").mid(8), "a\"&\r\nb");
    QByteArray after = text;
    after.replace("<Name>t</Name>", "<Name>t</Name><Value>a\"&amp;&#13;\nb</Value>\r\n\t\t");
    EXPECT_EQ(run.folder.read("template.xml").toStdString(), after.toStdString());
}
