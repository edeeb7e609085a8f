#include "record/canonicalJson.h"

#include "record/chain.h"
#include "tests/record/RecordKit.h"
#include "tests/support/outsideTool.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>
#include <random>

#include <gtest/gtest.h>

namespace {

using record::canonicalJson;
using record::parseCanonicalJson;

QJsonValue nested(int levels) {
    QJsonValue value = 1;
    for (int i = 0; i < levels; ++i) {
        value = QJsonArray{value};
    }
    return value;
}

std::string faultOf(const QByteArray& text) {
    QJsonObject object{{QStringLiteral("kept"), 1}};
    QString fault;
    if (parseCanonicalJson(text, object, fault)) {
        EXPECT_EQ(canonicalJson(object), text);
        return "";
    }
    EXPECT_EQ(object.size(), 1) << "a failure changed the result";
    return fault.toStdString();
}

/// Random values; keys and strings come from characters that are escaped, sorted or encoded in different ways.
class RandomJson {
  public:
    QJsonValue value(int level) {
        switch (number(level < 3 ? 7 : 4)) {
            case 0:
                return QJsonValue::Null;
            case 1:
                return number(1) == 0;
            case 2:
                return qint64{std::uniform_int_distribution<qint64>(-9007199254740991, 9007199254740991)(random_)};
            case 3:
            case 4:
                return text();
            case 5: {
                QJsonArray array;
                for (int i = number(4); i > 0; --i) {
                    array.append(value(level + 1));
                }
                return array;
            }
            default:
                return object(level);
        }
    }
    QJsonObject object(int level) {
        QJsonObject object;
        for (int i = number(5); i > 0; --i) {
            object.insert(text(), value(level + 1));
        }
        return object;
    }

  private:
    int number(int most) { return std::uniform_int_distribution<int>(0, most)(random_); }
    QString text() {
        static constexpr char32_t characters[] =
            U"\0\b\t\n\f\r\x1b\x1f "
            U"\"\\/azA~\x7f\x80\u00e9\u07ff\u0800\u20ac\u2028\ud7ff\ue000\ufb33\uffff\U00010000\U0001f600\U0010ffff";
        QString text;
        for (int i = number(6); i > 0; --i) {
            const char32_t character = characters[number(static_cast<int>(std::size(characters)) - 2)];
            text += QString::fromUcs4(&character, 1);
        }
        return text;
    }

    std::mt19937 random_{7};
};

}  // namespace

TEST(CanonicalJson, WritesEachValueInOneWay) {
    const struct {
        QByteArray json;
        QByteArray canonical;
    } cases[] = {
        {R"({ "b" : 1, "a" : [ true , false, null ] })", R"({"a":[true,false,null],"b":1})"},
        {R"({"n":[0,-0,-1,1e3,7.0,9007199254740991,-9007199254740991]})",
         R"({"n":[0,0,-1,1000,7,9007199254740991,-9007199254740991]})"},
        {R"({})", R"({})"},
        {R"({"a":[],"b":{}})", R"({"a":[],"b":{}})"},
        // The samples of RFC 8785, 3.2.2.2 and 3.2.3.
        {R"({"s":"\u20ac$\u000F\u000aA'\u0042\u0022\u005c\\\"\/"})",
         "{\"s\":\"\u20ac$\\u000f\\nA'B\\\"\\\\\\\\\\\"/\"}"},
        {R"({"\u20ac":1,"\r":2,"\ufb33":3,"1":4,"\ud83d\ude00":5,"\u0080":6,"\u00f6":7})",
         "{\"\\r\":2,\"1\":4,\"\u0080\":6,\"\u00f6\":7,\"\u20ac\":1,\"\U0001f600\":5,\"\ufb33\":3}"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(canonicalJson(kitObject(row.json)).toStdString(), row.canonical.toStdString());
    }
}

TEST(CanonicalJson, RefusesValuesWithoutAForm) {
    const QJsonValue cases[] = {
        0.5,
        9007199254740992.0,
        -9007199254740992.0,
        1e300,
        QJsonValue(qint64{9007199254740993}),
        QString(QChar(0xD800)),
        QString(QChar(0xDC00)),
        QString(QChar(0xDC00)) + QChar(0xD800),
        QString(u'a') + QChar(0xD83D) + u'b',
        QJsonObject{{QString(QChar(0xD800)), 1}},
        QJsonValue(QJsonValue::Undefined),
        nested(record::mostJsonLevels + 1),
    };
    for (const QJsonValue& value : cases) {
        EXPECT_EQ(canonicalJson(QJsonArray{1, value}), value.isUndefined() ? "[1,null]" : "")
            << canonicalJson(value).constData();
        EXPECT_EQ(canonicalJson(value), "");
    }
    EXPECT_NE(canonicalJson(nested(record::mostJsonLevels)), "");
}

// A string is written in pieces. A surrogate pair can be cut between two pieces.
TEST(CanonicalJson, WritesLongStrings) {
    for (qsizetype size = 4090; size < 4102; ++size) {
        const QString text = QString(size, u'a') + QString::fromUtf8("\U0001f600\n") + QString(9000, u'\u20ac');
        EXPECT_EQ(canonicalJson(text), '"' + text.toUtf8().replace('\n', "\\n") + '"') << size;
    }
}

TEST(CanonicalJson, ParsesOnlyTheCanonicalForm) {
    constexpr char noObject[] = "isn't a JSON object";
    constexpr char otherForm[] = "isn't in the canonical form of RFC 8785";
    constexpr char beyond[] = "has more than 16 levels or 1048576 values";
    const struct {
        QByteArray text;
        std::string fault;
    } cases[] = {
        {R"({"a":1,"b":[{},"x"]})", ""},
        {"", noObject},
        {"[1]", noObject},
        {"1", noObject},
        {R"({"a":1)", noObject},
        {R"({"a":1}})", noObject},
        {R"({"a":1}{)", noObject},
        {R"({"a":01})", noObject},
        {"{\"a\":\"\x80\"}", noObject},
        {"{\"a\":\"\xC0\x80\"}", noObject},
        {R"({"a": 1})", otherForm},
        {R"({"a":1} )", otherForm},
        {"\xEF\xBB\xBF{}", otherForm},
        {R"({"b":1,"a":1})", otherForm},
        {R"({"a":1,"a":1})", otherForm},
        {R"({"a":1.0})", otherForm},
        {R"({"a":-0})", otherForm},
        {R"({"a":1e1})", otherForm},
        {R"({"a":9007199254740992})", otherForm},
        {R"({"a":"\u0061"})", otherForm},
        {R"({"a":"\/"})", otherForm},
        {R"({"a":"\u000F"})", otherForm},
        {R"({"a":"\ud800"})", otherForm},
        {"{\"a\":" + QByteArray(15, '[') + QByteArray(15, ']') + '}', ""},
        {"{\"a\":" + QByteArray(16, '[') + QByteArray(16, ']') + '}', beyond},
        {"{\"a\":" + QByteArray(1000000, '['), beyond},
        {"{\"a\":[" + QByteArray("0,").repeated(1 << 20) + "0]}", beyond},
        {"{\"a\":\"" + QByteArray("{[,").repeated(1 << 20) + "\\\"[\"}", ""},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(faultOf(row.text), row.fault) << row.text.left(40).constData();
    }
}

// Compares the result with that of Python's writer.
TEST(CanonicalJson, AgreesWithPython) {
    RandomJson random;
    QByteArray made;
    QByteArray input;
    for (int i = 0; i < 500; ++i) {
        const QJsonObject object = random.object(0);
        made += canonicalJson(object) + '\n';
        input += QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    }
    const TempFolder folder;
    const QByteArray judged = outsideTool(QStringLiteral("python3"),
                                          {QStringLiteral(QVORA_JUDGES "/judgeJson.py"), folder.write("cases", input)});
    EXPECT_EQ(made, judged);
    for (const QByteArray& line : made.split('\n')) {
        EXPECT_EQ(line.isEmpty() ? "" : faultOf(line), "");
    }
}

TEST(Chain, LinksEachLineToTheLineBefore) {
    record::ChainHead head;
    const QByteArray first = record::nextLine(kitObject(R"({"kind":"x","number":9,"previous":1})"), head);
    EXPECT_EQ(first, R"({"kind":"x","number":1,"previous":")" + QByteArray(64, '0') + "\"}");
    const QByteArray second = record::nextLine(kitObject(R"({"z":1})"), head);
    const TempFolder folder;
    const QByteArray sum = outsideTool("sha256sum " + folder.write("line", first).toUtf8()).left(64);
    EXPECT_EQ(second, R"({"number":2,"previous":")" + sum + R"(","z":1})");
    EXPECT_EQ(head.number, 2);
    EXPECT_EQ(head.hash.toHex(), outsideTool("sha256sum " + folder.write("line", second).toUtf8()).left(64));

    const record::ChainHead before = head;
    EXPECT_EQ(record::nextLine({{QStringLiteral("a"), 0.5}}, head), "");
    EXPECT_EQ(head.number, before.number);
    EXPECT_EQ(head.hash, before.hash);
}
