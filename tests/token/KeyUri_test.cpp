#include "token/KeyUri.h"
#include "tests/support/MessageCapture.h"

#include <gmock/gmock.h>

#include <cstring>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using token::KeyUri;

template <std::size_t size>
void fill(CK_UTF8CHAR (&field)[size], const char* text) {
    std::memset(field, ' ', size);
    std::memcpy(field, text, std::strlen(text));
}

token::TokenRecord sampleToken() {
    token::TokenRecord record;
    record.slot = 7;
    fill(record.driver.manufacturerID, "Sample drivers");
    fill(record.driver.libraryDescription, "Sample driver");
    record.driver.libraryVersion = {2, 5};
    fill(record.slotInfo.manufacturerID, "Sample readers");
    fill(record.slotInfo.slotDescription, "Reader 1");
    fill(record.token.label, "line; 1");
    fill(record.token.manufacturerID, "Sample tokens");
    fill(record.token.model, "T100");
    fill(record.token.serialNumber, "0042");
    return record;
}

TEST(KeyUri, SelectsTheTokenThatEveryAttributeNames) {
    const token::TokenRecord record = sampleToken();
    struct Row {
        const char* path;
        bool matches;
    };
    for (const Row& row : {
             Row{"", true},
             Row{"token=line%3B%201", true},
             Row{"token=line", false},
             Row{"serial=0042;model=T100;manufacturer=Sample%20tokens", true},
             Row{"serial=0043;model=T100", false},
             Row{"model=T10", false},
             Row{"manufacturer=Sample", false},
             Row{"slot-id=7", true},
             Row{"slot-id=8", false},
             Row{"slot-description=Reader%201;slot-manufacturer=Sample%20readers", true},
             Row{"slot-description=Reader%202", false},
             Row{"library-description=Sample%20driver;library-manufacturer=Sample%20drivers", true},
             Row{"library-version=2.5", true},
             Row{"library-version=2.6", false},
         }) {
        SCOPED_TRACE(row.path);
        KeyUri uri;
        ASSERT_TRUE(uri.parse(QStringLiteral("pkcs11:") + QLatin1String(row.path), CKO_PRIVATE_KEY));
        EXPECT_EQ(uri.matches(record), row.matches);
    }
}

TEST(KeyUri, ReadsTheKeyTheDriverAndThePlaceOfThePin) {
    KeyUri uri;
    ASSERT_TRUE(uri.parse(QStringLiteral("pkcs11:object=sign%20key;id=%00%FF;type=private?module-path=/lib/a%20b.so&"
                                         "module-name=soft&pin-source=file:/run/pin"),
                          CKO_PRIVATE_KEY));
    EXPECT_EQ(uri.label(), "sign key");
    EXPECT_EQ(uri.id(), QByteArray("\x00\xff", 2));
    EXPECT_EQ(uri.modulePath(), QStringLiteral("/lib/a b.so"));
    EXPECT_EQ(uri.moduleName(), QStringLiteral("soft"));
    EXPECT_EQ(uri.pinPath(), QStringLiteral("/run/pin"));
    ASSERT_TRUE(uri.parse(QStringLiteral("PKCS11:token=a"), CKO_PRIVATE_KEY));
    EXPECT_TRUE(uri.label().isNull() && uri.id().isNull() && uri.modulePath().isEmpty() && uri.pinPath().isEmpty());
}

TEST(KeyUri, RefusesWhatCouldSelectAnotherKey) {
    struct Row {
        QByteArray text;
        const char* message;
    };
    const Row rows[] = {
        {"pkcs11:object=a?pin-value=1234", "can't contain its PIN"},
        {"pkcs11:object=a;pin-value=1234", "can't contain its PIN"},
        {"pkcs11:object=a;colour=red", "its attribute colour is unknown"},
        {"pkcs11:object=a?x-vendor=1", "its attribute x-vendor is unknown"},
        {"pkcs11:object=a;object=b", "the attribute object twice"},
        {"pkcs11:object=a;id", "its attribute id is unknown"},
        {"pkcs11:object=a?pin-source=/a&pin-source=/b", "the attribute pin-source twice"},
        {"pkcs11:object=%g1", "isn't a URI"},
        {"pkcs11:type=public", "write type=private"},
        {"pkcs11:type=cert", "write type=private"},
        {"pkcs11:type=secret-key", "write type=private"},
        {"pkcs11:type=nonsense", "matches nothing"},
        {"pkcs11:slot-id=seven", "isn't a URI"},
        {"pkcs11:object=a?pin-source=%7Ccat%20pin", "names a program"},
        {"pkcs11:object=a?pin-source=file:", "names no file"},
        {"pkcs11:object=" + QByteArray(5000, 'a'), "at most 4096 characters"},
        {"pkcs11", "begins with pkcs11:"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text.left(60).constData());
        MessageCapture messages;
        KeyUri uri;
        EXPECT_FALSE(uri.parse(QString::fromUtf8(row.text), CKO_PRIVATE_KEY));
        EXPECT_THAT(messages.texts(), ElementsAre(HasSubstr(row.message)));
    }
}

TEST(KeyUri, IsReadBackAsItIsListed) {
    const token::TokenRecord record = sampleToken();
    for (const QByteArray& label : {QByteArray("firmware"), QByteArray("a;b?c&d=e %\xc3\xa9"), QByteArray()}) {
        for (const QByteArray& id : {QByteArray("\x01"), QByteArray("\x00\x7f\xff%;", 5), QByteArray()}) {
            const QString text = token::uriOf(record, label, id, QStringLiteral("/lib/driver & co.so"));
            SCOPED_TRACE(text.toStdString());
            KeyUri uri;
            ASSERT_TRUE(uri.parse(text, CKO_PRIVATE_KEY));
            EXPECT_TRUE(uri.matches(record));
            EXPECT_EQ(uri.label(), label);
            EXPECT_EQ(uri.id(), id);
            EXPECT_EQ(uri.modulePath(), QStringLiteral("/lib/driver & co.so"));
        }
    }
}

}  // namespace
