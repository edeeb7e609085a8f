#include "token/SecretKey.h"

#include "tests/support/MessageCapture.h"
#include "tests/token/TokenTest.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using token::SecretKey;

class Derivation : public TokenTest {
  protected:
    void store(const char* label, const char* type, const QByteArray& key, const char* more) {
        const QByteArray path = folder.write("key", key).toUtf8();
        outsideTool("pkcs11-tool --module " + driver + " --token-label line --login --pin 1234 --write-object " + path +
                    " --type secrkey --key-type " + type + " --label " + label + ' ' + more);
    }
};

TEST_F(Derivation, GivesTheKeysThatOpensslDerives) {
    struct Master {
        const char* type;
        const char* cipher;
        QByteArray key;
    };
    const QByteArray bytes = QByteArray::fromHex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");
    for (const Master& master :
         {Master{"AES:16", "AES-128-CBC", bytes.first(16)}, Master{"AES:32", "AES-256-CBC", bytes}}) {
        store(master.type, master.type, master.key, "--sensitive --usage-sign");
        SecretKey key;
        ASSERT_TRUE(
            key.open(uri(QStringLiteral("token=line;object=") + QLatin1String(master.type)), SecretKey::Use::derive));
        for (const char* const context : {"SN000001", "x"}) {
            for (const int size : {16, 32}) {
                SCOPED_TRACE(testing::Message() << master.type << ' ' << context << ' ' << size);
                QByteArray derived;
                ASSERT_TRUE(key.derive("image", context, size, derived));
                const QByteArray expected = openssl(
                    QStringLiteral("kdf -keylen %1 -kdfopt mac:CMAC -kdfopt cipher:%2 -kdfopt hexkey:%3 -kdfopt "
                                   "salt:image -kdfopt info:%4 -kdfopt mode:counter KBKDF")
                        .arg(size)
                        .arg(QLatin1String(master.cipher), QString::fromLatin1(master.key.toHex()),
                             QLatin1String(context)));
                EXPECT_EQ(derived, QByteArray::fromHex(expected.trimmed().replace(':', "")));
            }
        }
    }
}

TEST_F(Derivation, RefusesKeysThatCannotDeriveOrLeave) {
    store("closed", "AES:16", QByteArray(16, 'k'), "--sensitive --usage-decrypt");
    store("open", "AES:16", QByteArray(16, 'k'), "--extractable --usage-sign");
    store("other", "DES3:24", QByteArray(24, 'k'), "--sensitive --usage-sign");
    struct Row {
        const char* path;
        SecretKey::Use use;
        const char* message;
    };
    for (const Row& row : {Row{"token=line;object=closed", SecretKey::Use::read, "can't leave its token"},
                           Row{"token=line;object=other", SecretKey::Use::derive, "isn't an AES key"},
                           Row{"token=line;object=firmware", SecretKey::Use::derive, "no secret key that fits"},
                           Row{"token=line", SecretKey::Use::read, "selects 3 secret keys"},
                           Row{"token=line;object=open;type=private", SecretKey::Use::read, "write type=secret-key"}}) {
        SCOPED_TRACE(row.path);
        const MessageCapture messages;
        SecretKey key;
        EXPECT_FALSE(key.open(uri(QLatin1String(row.path)), row.use));
        EXPECT_THAT(messages.texts(), ElementsAre(HasSubstr(row.message)));
    }
    SecretKey key;
    QByteArray bytes;
    ASSERT_TRUE(key.open(uri(QStringLiteral("token=line;object=open;type=secret-key")), SecretKey::Use::read));
    ASSERT_TRUE(key.read(bytes));
    EXPECT_EQ(bytes, QByteArray(16, 'k'));
}

}  // namespace
