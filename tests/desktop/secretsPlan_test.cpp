// Tests secrets documents and the plan of their images without the page.

#include "desktop/secrets/secretsPlan.h"
#include "desktop/secrets/SecretsDocument.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

constexpr std::uint32_t ctr = 2U << 19;
constexpr std::uint32_t locked = 1U << 28;

QString text(const char* words) {
    return QString::fromUtf8(words);
}

/// A document with one item. It has a nonce if `noncePath` is given.
void makeItem(desktop::SecretsDocument& document, const desktop::NewSecret& secret, const QString& nonce = {}) {
    document.clear({desktop::secretItemText({}, secret)});
    if (!nonce.isEmpty()) {
        document.change(0, QStringLiteral("nonce"), {{{"Protection", "Algorithm", "Nonce"}, nonce}}, QString());
    }
}

TEST(SecretsPlan, ReportsWhyAnItemCantBeStored) {
    const TempFolder folder;
    folder.write("four", "1234");
    folder.write("nonce", QByteArray(16, 'n'));
    ASSERT_EQ(mkfifo(qUtf8Printable(folder.path("pipe")), 0600), 0);
    const struct {
        desktop::NewSecret secret;
        const char* nonce;
        const char* says;
    } rows[] = {
        {{.pathOrWord = text("0x00000001")}, "", ""},
        {{.pathOrWord = text("0x000000011")}, "", "Words are 0x and eight hexadecimal digits for each."},
        {{.pathOrWord = text("0x0000001")}, "", "Words are 0x and eight hexadecimal digits for each."},
        {{.pathOrWord = text("0x00000001000002")}, "", ""},
        {{.pathOrWord = text("00000001")}, "", "Words are 0x and eight hexadecimal digits for each."},
        {{.pathOrWord = text("0x00000000")}, "", ""},
        {{.protection = locked, .pathOrWord = text("0x00000000")}, "", "Still to be filled in."},
        {{.pathOrWord = text(""), .isMandatory = true}, "", "Still to be filled in."},
        {{.pathOrWord = text(""), .isFile = true, .isMandatory = true}, "", "No file is chosen yet."},
        {{.pathOrWord = text(""), .isFile = true}, "", ""},
        {{.pathOrWord = text("four"), .isFile = true, .expectedSize = 4}, "", ""},
        {{.pathOrWord = text("four"), .isFile = true, .expectedSize = 8}, "", "8 bytes are expected, there are 4."},
        {{.pathOrWord = text("pipe"), .isFile = true}, "", "” is no plain file."},
        {{.pathOrWord = text("none"), .isFile = true}, "", "There is no file “"},
        {{.protection = ctr, .pathOrWord = text("four"), .isFile = true},
         "",
         "This algorithm needs a nonce of 16 bytes."},
        {{.protection = ctr, .pathOrWord = text("four"), .isFile = true},
         "four",
         "A nonce has 16 bytes, this file has 4."},
        {{.protection = ctr, .pathOrWord = text("four"), .isFile = true}, "nonce", ""},
    };
    for (const auto& row : rows) {
        desktop::SecretsDocument document;
        makeItem(document, row.secret, QLatin1String(row.nonce));
        ASSERT_EQ(document.items().size(), 1);
        const jobs::Verdict verdict = desktop::openVerdict(
            document.items().first(), desktop::secretSize(document.items().first(), folder.path("")));
        EXPECT_EQ(verdict.kind == jobs::Verdict::Kind::good, *row.says == '\0') << row.secret.pathOrWord.toStdString();
        EXPECT_TRUE(verdict.text.contains(QString::fromUtf8(row.says)))
            << row.secret.pathOrWord.toStdString() << ": " << verdict.text.toStdString();
    }
}

TEST(SecretsPlan, RefusesAnImageThatWouldBeWrong) {
    const TempFolder folder;
    folder.write("data", "1234");
    const QString nonce = folder.write("nonce", QByteArray(16, 'n'));
    const struct {
        std::uint32_t device;
        desktop::NewSecret secret;
        const char* fault;
    } rows[] = {
        {0x505,
         {.index = 204, .protection = ctr, .pathOrWord = text("data"), .isFile = true},
         "nonce”, which it is made from."},
        {0x500, {.index = 59, .pathOrWord = text("0x00000001")}, "takes word 56 from its first item"},
        {0x500, {.index = 56, .pathOrWord = text("0x0000000100000002")}, "word 56 is separate in an image"},
        {0x455, {.index = 56, .pathOrWord = text("0x00000001")}, "Images are made for the devices"},
    };
    for (const auto& row : rows) {
        desktop::SecretsDocument document;
        makeItem(document, row.secret, row.secret.isFile ? nonce : QString());
        const desktop::SecretsMade made =
            desktop::makeSecretsImage(row.device, document.items(), folder.path(""), QString(), nonce);
        EXPECT_EQ(made.words, -1);
        EXPECT_TRUE(made.fault.contains(QString::fromUtf8(row.fault))) << made.fault.toStdString();
        EXPECT_EQ(folder.read("nonce"), QByteArray(16, 'n'));
    }
}

TEST(SecretsPlan, ShowsTextsOfADocumentOnOneShortLine) {
    EXPECT_EQ(desktop::shownLine(QStringLiteral("a\u202Eb\nc\u2028d")).toStdString(), "a\\x202eb\\x0ac\\x2028d");
    EXPECT_EQ(desktop::shownLine(QString(64, u'x')), QString(64, u'x'));
    EXPECT_EQ(desktop::shownLine(QString(65, u'x')), QString(64, u'x') + u'…');
    desktop::SecretsDocument document;
    document.clear(QByteArrayList(
        6, desktop::secretItemText({}, {.name = text("x"), .index = 5, .pathOrWord = text("0x00000001")})));
    const desktop::SecretsPlan plan = desktop::planSecrets(desktop::plainDevice(0x500), document.items(), QString());
    EXPECT_EQ(
        desktop::misplacedText(desktop::planSecrets(desktop::plainDevice(0x500), document.items().first(1), QString()))
            .toStdString(),
        "No place on this device: “x” (5).");
    EXPECT_TRUE(desktop::collisionsText(plan).endsWith(QStringLiteral(" more.")))
        << desktop::collisionsText(plan).toStdString();
}

TEST(SecretsDocument, KeepsItsLimitsAndEveryBitOfAProtection) {
    desktop::SecretsDocument document;
    makeItem(document, {.index = 0xFFFF, .pathOrWord = text("0x00000001")});
    document.change(0, QStringLiteral("index"), {{{"Offset"}, QStringLiteral("0x10000")}}, QString());
    EXPECT_EQ(document.items().first().Offset, 0xFFFFU) << "that one was refused, the first wasn't";

    const QByteArray item = document.itemText(0);
    document.clear(QByteArrayList(4095, item));
    EXPECT_EQ(document.fullFault(), QString());
    document.insert(0, item, QString());
    EXPECT_NE(document.fullFault(), QString());

    // The device describes only two fields. One of them must keep the bits between them.
    devices::DeviceFuses fuses;
    fuses.protection = {{text("Lock"), 20, 1, {}, {}, {}}, {text("CID"), 4, 3, {}, {}, {}}};
    constexpr std::uint32_t protection = 0x0011B3F0;
    document.clear({desktop::secretItemText(fuses, {.protection = protection, .pathOrWord = text("0x00000001")})});
    EXPECT_EQ(protectionWord(document.items().first()), protection);
}

TEST(SecretsDocument, UndoesEachFieldSeparately) {
    desktop::SecretsDocument document;
    makeItem(document, {.name = text("a"), .pathOrWord = text("0x00000001")});
    const QByteArray before = document.text();
    const auto change = [&document](const char* field, const char* value) {
        document.change(0, QLatin1String(field), {{{field}, QLatin1String(value)}}, QString());
    };
    change("Name", "b");
    change("Name", "say \"c\"");
    change("Offset", "0x7");
    EXPECT_EQ(document.undoStack().count(), 2) << "one step for each field";
    document.undoStack().undo();
    EXPECT_EQ(document.items().first().Name, QStringLiteral("say \"c\""));
    document.endField();
    change("Name", "d");
    document.undoStack().undo();
    EXPECT_EQ(document.items().first().Name, QStringLiteral("say \"c\""));
    document.undoStack().undo();
    EXPECT_EQ(document.text(), before);

    document.clear({document.itemText(0).replace("\"Name\"", "\"Name\": \"first\", \"Name\"")});
    change("Name", "e");
    EXPECT_EQ(document.items().first().Name, QStringLiteral("e")) << "the last of two members counts";
}

}  // namespace
