#include "obkey/templateNumbers.h"

#include "obkey/templatePaths.h"
#include "tests/support/MessageCapture.h"

#include <gtest/gtest.h>

TEST(TemplateNumbers, HexadecimalAndDecimalForms) {
    for (const char* const text : {"0x1", "0XfF", "0x0123456789abcdefABCDEF"}) {
        EXPECT_TRUE(obkey::isHexValue(QLatin1String(text).toString())) << text;
    }
    for (const char* const text : {"", "0x", "1x1", "0y1", "0xg", "x12", "0x 1", "0x-1"}) {
        EXPECT_FALSE(obkey::isHexValue(QString::fromLatin1(text))) << text;
    }
    EXPECT_EQ(obkey::decimalToHexValue(QStringLiteral("48879")), QStringLiteral("0xBEEF"));
    EXPECT_EQ(obkey::decimalToHexValue(QStringLiteral("18446744073709551615")), QStringLiteral("0xFFFFFFFFFFFFFFFF"));
    EXPECT_EQ(obkey::decimalToHexValue(QStringLiteral("18446744073709551616")), QStringLiteral("0x0"));
}

TEST(TemplateNumbers, WidthCountsTheDigitsWritten) {
    struct Row {
        const char* text;
        std::uint32_t width;
        const char* message;
    };
    const Row rows[] = {
        {"0x1234", 2, nullptr},
        {"65535", 2, nullptr},
        {"", 1, nullptr},
        {"18446744073709551616", 1, nullptr},
        {"1", 0, " \"0\" : is Wrong width value "},
        {"1", 9, " \"9\" : is Wrong width value "},
        {"1", 0xFFFFFFFF, " \"-1\" : is Wrong width value "},
        {"65536", 2, " \"65536\" value for \"n\" is incorrect, max width value is : \"2\" Bytes."},
        {"0x00000001", 2,
         " \"0x00000001\" value for \"n\" is incorrect, the value should be written on max : \"2\" Bytes."},
        {"0x", 4, " \"0x\" value for \"n\" is incorrect, the value should be written on max : \"4\" Bytes."},
        {"-12", 4, " \"-12\" value for \"n\" is incorrect, values should be hexadecimal or decimal."},
    };
    for (const Row& row : rows) {
        const MessageCapture capture;
        EXPECT_EQ(obkey::checkDataValue(QString::fromLatin1(row.text), QStringLiteral("n"), row.width),
                  row.message == nullptr);
        const std::vector<std::string> expected = row.message == nullptr
                                                      ? std::vector<std::string>()
                                                      : std::vector<std::string>{std::string("Error: ") + row.message};
        EXPECT_EQ(capture.texts(), expected) << row.text;
    }
}

TEST(TemplateNumbers, References) {
    std::uint8_t index = 9;
    QString text;
    EXPECT_TRUE(obkey::parseIndexedReference(QStringLiteral("#258#GetPublic"), index, text));
    EXPECT_EQ(index, 2);
    EXPECT_EQ(text, QStringLiteral("GetPublic"));
    EXPECT_FALSE(obkey::parseIndexedReference(QStringLiteral("a#b"), index, text));
    EXPECT_FALSE(obkey::parseIndexedReference(QStringLiteral("#1#2#3"), index, text));
    EXPECT_EQ(text, QStringLiteral("GetPublic"));
    EXPECT_TRUE(obkey::parseIndexedReference(QStringLiteral("plain"), index, text));
    EXPECT_EQ(index, 0);
    EXPECT_EQ(obkey::slotIndex(QStringLiteral("start#")), 0);
    EXPECT_EQ(obkey::slotIndex(QStringLiteral("size#12")), 12);
    EXPECT_EQ(obkey::slotIndex(QStringLiteral("size#2147483648")), 0);
}

TEST(TemplatePaths, EachFormatHasItsRule) {
    struct Row {
        const char *path, *inObkey, *inMcuboot;
    };
    const Row rows[] = {
        {"a.pem", "f/a.pem", "a.pem"},
        {".\\k\\a.pem", "f/./k/a.pem", "f/./k/a.pem"},
        {"../a.pem", "f/../a.pem", "f/../a.pem"},
        {"/a.pem", "/a.pem", "/a.pem"},
        {"C:\\a.pem", "C:/a.pem", "C:/a.pem"},
        {"c:/a.pem", "f/c:/a.pem", "c:/a.pem"},
    };
    for (const Row& row : rows) {
        QString path = QString::fromLatin1(row.path);
        obkey::resolveObkeyPath(path, QStringLiteral("f"));
        EXPECT_EQ(path, QLatin1String(row.inObkey));
        path = QString::fromLatin1(row.path);
        obkey::resolveMcubootPath(path, QStringLiteral("f"));
        EXPECT_EQ(path, QLatin1String(row.inMcuboot));
    }
    EXPECT_EQ(obkey::templateFolder(QStringLiteral("a\\b/t.xml")), QStringLiteral("a/b"));
    EXPECT_EQ(obkey::templateFolder(QStringLiteral("t.xml")), QStringLiteral("."));
    EXPECT_EQ(obkey::collapsePath(QStringLiteral("../../a/./b\\../c")), QStringLiteral("../../a/c"));

    // Folder and path together have 254 or 255 characters.
    for (const qsizetype length : {254, 255}) {
        QString path = QStringLiteral("./") + QString(length - 5, QLatin1Char('x'));
        obkey::resolveMcubootPath(path, QStringLiteral("/r"));
        EXPECT_EQ(path.size(), length < 255 ? length : length - 2);
    }
    QString longPath = QStringLiteral("./../") + QString(250, QLatin1Char('x'));
    obkey::resolveMcubootPath(longPath, QStringLiteral("/r/s"));
    EXPECT_EQ(longPath, QStringLiteral("/r/") + QString(250, QLatin1Char('x')));
}
