#include "token/SigningKey.h"

#include "Preparation/primitives/Sha256.h"
#include "Preparation/primitives/ecdsa.h"
#include "Preparation/primitives/keyPem.h"
#include "tests/support/MessageCapture.h"
#include "tests/token/TokenTest.h"

#include <gmock/gmock.h>
#include <p11-kit/pkcs11.h>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using token::SignatureKind;
using token::SigningKey;

const QByteArray message("the signed part");

QByteArray digestOf(const QByteArray& bytes) {
    Sha256Digest digest{};
    EXPECT_TRUE(sha256({bytes}, digest));
    return QByteArrayView(digest).toByteArray();
}

class Signing : public TokenTest {
  protected:
    /// Whether OpenSSL accepts the key's signature of the message.
    bool isAccepted(const SigningKey& key, SignatureKind kind) {
        QByteArray signature;
        QByteArray pem;
        QByteArray der;
        if (!key.sign(digestOf(message), signature) || !publicKeyToPem(key.publicKey(), pem)) {
            return false;
        }
        if (kind == SignatureKind::ecdsaP256 && !toDerSignature(signature, der)) {
            return false;
        }
        return opensslVerifies(folder.write("public.pem", pem), der.isEmpty() ? signature : der, message);
    }
    QString keyFile(const char* name, const char* algorithm) {
        const QString path = folder.path(name);
        opensslMakeKey(path, algorithm);
        return path;
    }
};

TEST_F(Signing, OpensslAcceptsEachKindOfEachPlace) {
    struct Row {
        QString key;
        SignatureKind kind;
    };
    const Row rows[] = {
        {keyFile("ec.pem", "EC -pkeyopt ec_paramgen_curve:P-256"), SignatureKind::ecdsaP256},
        {keyFile("rsa.pem", "RSA -pkeyopt rsa_keygen_bits:2048"), SignatureKind::rsa2048},
        {uri(QStringLiteral("token=line;object=firmware")), SignatureKind::ecdsaP256},
        {uri(QStringLiteral("token=line;id=%02")), SignatureKind::rsa2048},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.key.toStdString());
        const MessageCapture messages;
        SigningKey key;
        ASSERT_TRUE(key.open({row.key, {}}, row.kind)) << testing::PrintToString(messages.texts());
        EXPECT_TRUE(isAccepted(key, row.kind));
        EXPECT_TRUE(isAccepted(key, row.kind)) << "the second signature";
        EXPECT_THAT(messages.texts(), IsEmpty());
    }
}

TEST_F(Signing, RefusesKeysThatDontFit) {
    makeKey("EC:secp384r1", "large", "03");
    makeKey("rsa:1024", "small", "04");
    makeKey("EC:prime256v1", "agreement", "05");
    forbidSigning("05");
    const QString readable = keyFile("readable.pem", "EC -pkeyopt ec_paramgen_curve:P-256");
    QFile::setPermissions(readable, QFile::ReadOwner | QFile::ReadGroup);
    const QString locked = folder.path("locked.pem");
    openssl(QStringLiteral("genpkey -out %1 -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -aes256 -pass pass:x")
                .arg(locked));
    const QString noKey = folder.write("text.pem", "no key");
    QFile::setPermissions(noKey, QFile::ReadOwner);
    struct Row {
        QString key;
        SignatureKind kind;
        const char* message;
    };
    const auto ec = SignatureKind::ecdsaP256;
    const auto rsa = SignatureKind::rsa2048;
    const Row rows[] = {
        {uri(QStringLiteral("token=line;object=radio")), ec, "needs an elliptic-curve key on P-256"},
        {uri(QStringLiteral("token=line;object=firmware")), rsa, "needs an RSA key of 2048 bits"},
        {uri(QStringLiteral("token=line;object=large")), ec, "is on another curve"},
        {uri(QStringLiteral("token=line;object=small")), rsa, "is an RSA key of 1024 bits"},
        {uri(QStringLiteral("token=line;object=agreement")), ec, "may not sign (CKA_SIGN)"},
        {uri(QStringLiteral("token=line;object=missing")), ec, "its keys are : "},
        {uri(QStringLiteral("token=line")), ec, "selects 5 private keys"},
        {uri(QStringLiteral("object=firmware")), ec, "3 tokens fit"},
        {uri(QStringLiteral("token=lost;object=firmware")), ec, "the tokens are : "},
        {uri(QStringLiteral("token=other;object=firmware")), ec, "C_Login for the user PIN with CKR_PIN_INCORRECT"},
        {uri(QStringLiteral("token=line;object=firmware"), QStringLiteral("&module-path=/missing.so")), ec,
         "/missing.so can't be loaded"},
        {uri(QStringLiteral("token=line;object=firmware"), QStringLiteral("&module-path=missing.so")), ec,
         "module-path must be absolute"},
        {uri(QStringLiteral("token=line;object=firmware"), QStringLiteral("&module-name=no-such-driver")), ec,
         "no driver named no-such-driver"},
        {QStringLiteral("pkcs11:token=line;object=firmware?pin-source=") + readable, ec, "its mode must be 0600"},
        {QStringLiteral("pkcs11:token=line;object=firmware?pin-source=/missing"), ec, "can't be opened"},
        {readable, ec, "its mode must be 0600"},
        {locked, ec, "has a passphrase"},
        {noKey, ec, "isn't a valid private key"},
        {keyFile("p384.pem", "EC -pkeyopt ec_paramgen_curve:P-384"), ec, "is a key of another kind"},
        {keyFile("rsa.pem", "RSA -pkeyopt rsa_keygen_bits:3072"), rsa, "is an RSA key of 3072 bits"},
        {keyFile("ed.pem", "ED25519"), ec, "is a key of another kind"},
        {folder.path("missing.pem"), ec, "can't be opened"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.key.toStdString());
        const MessageCapture messages;
        SigningKey key;
        EXPECT_FALSE(key.open({row.key, {}}, row.kind));
        EXPECT_THAT(messages.texts(), ElementsAre(HasSubstr(row.message)));
    }
}

TEST_F(Signing, TakesThePinFromALineOfAFileOnly) {
    struct Row {
        QByteArray content;
        bool opens;
    };
    const Row rows[] = {
        {"1234", true},
        {"1234\n", true},
        {"1234\r\n", true},
        {"", false},
        {"\n", false},
        {"12", false},
        {"1234\n\n", false},
        {"1234\nmore\n", false},
        {QByteArray(300, '1'), false},
        {QByteArray("12\0"
                    "34",
                    5),
         false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.content.toHex().constData());
        folder.write("pin", row.content);
        const MessageCapture messages;
        SigningKey key;
        EXPECT_EQ(key.open({uri(QStringLiteral("token=line;object=firmware")), {}}, SignatureKind::ecdsaP256),
                  row.opens);
    }
}

TEST_F(Signing, NeedsThePublicKeyOfItsToken) {
    const QByteArray remove =
        "pkcs11-tool --module " + driver + " --token-label line --login --pin 1234 --delete-object --type pubkey --id ";
    const QString radio = uri(QStringLiteral("token=line;object=radio"));
    QByteArray pem;
    {
        SigningKey key;
        ASSERT_TRUE(key.open({radio, {}}));
        ASSERT_TRUE(publicKeyToPem(key.publicKey(), pem));
    }
    const QString right = folder.write("right.pem", pem);
    const QString wrong = folder.path("wrong.pem");
    openssl(QStringLiteral("pkey -in %1 -pubout -out %2")
                .arg(keyFile("other.pem", "RSA -pkeyopt rsa_keygen_bits:2048"), wrong));
    {
        const MessageCapture messages;
        SigningKey key;
        EXPECT_FALSE(key.open({radio, wrong}, SignatureKind::rsa2048));
        EXPECT_THAT(messages.texts(), ElementsAre(HasSubstr("isn't that of")));
    }
    outsideTool(remove + "02");
    {
        const MessageCapture messages;
        SigningKey key;
        EXPECT_FALSE(key.open({radio, {}}, SignatureKind::rsa2048));
        EXPECT_THAT(messages.texts(), ElementsAre(HasSubstr("give it with --public")));
    }
    SigningKey key;
    ASSERT_TRUE(key.open({radio, right}, SignatureKind::rsa2048));
    EXPECT_TRUE(isAccepted(key, SignatureKind::rsa2048));
    // The token doesn't show that the public key is wrong. The check of the first signature does.
    const MessageCapture messages;
    SigningKey deceived;
    QByteArray signature("unchanged");
    ASSERT_TRUE(deceived.open({radio, wrong}, SignatureKind::rsa2048));
    EXPECT_FALSE(deceived.sign(digestOf(message), signature));
    EXPECT_EQ(signature, "unchanged");
    EXPECT_THAT(messages.texts(), ElementsAre(HasSubstr("doesn't verify with its public key")));
}

TEST_F(Signing, LogsInForEachUseOfAKeyThatWantsIt) {
    makeKey("EC:prime256v1", "careful", "06", "--usage-sign --always-auth");
    const MessageCapture messages;
    SigningKey key;
    ASSERT_TRUE(key.open({uri(QStringLiteral("token=line;object=careful")), {}}, SignatureKind::ecdsaP256))
        << testing::PrintToString(messages.texts());
    EXPECT_TRUE(isAccepted(key, SignatureKind::ecdsaP256));
    EXPECT_TRUE(isAccepted(key, SignatureKind::ecdsaP256));
}

// Two keys of one token share its login. The second key still signs after the first one is closed.
TEST_F(Signing, SharesATokenWithAnotherKey) {
    auto first = std::make_unique<SigningKey>();
    SigningKey second;
    ASSERT_TRUE(first->open({uri(QStringLiteral("token=line;object=firmware")), {}}, SignatureKind::ecdsaP256));
    ASSERT_TRUE(second.open({uri(QStringLiteral("token=line;object=radio")), {}}, SignatureKind::rsa2048));
    EXPECT_TRUE(isAccepted(*first, SignatureKind::ecdsaP256));
    first.reset();
    EXPECT_TRUE(isAccepted(second, SignatureKind::rsa2048));
}

TEST_F(Signing, LeavesItsTokenAloneInAForkedChild) {
    SigningKey key;
    ASSERT_TRUE(key.open({uri(QStringLiteral("token=line;object=firmware")), {}}, SignatureKind::ecdsaP256));
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        auto* const inherited = new SigningKey;  // loads a driver of the child's own
        const bool isOpen =
            inherited->open({uri(QStringLiteral("token=line;object=radio")), {}}, SignatureKind::rsa2048);
        key.~SigningKey();
        _exit(isOpen ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(isAccepted(key, SignatureKind::ecdsaP256));
}

struct FaultRow {
    const char* call;
    CK_RV value;
};

// Whether an answer of a driver isn't a plain failure: the key can still be used, or another message reports it.
bool isTolerated(const FaultRow& row) {
    const std::string_view call = row.call;
    const bool isEnd = call == "C_CloseSession" || call == "C_Logout" || call == "C_Finalize";
    const bool isUndisclosed = call == "C_GetAttributeValue" &&
                               (row.value == CKR_ATTRIBUTE_TYPE_INVALID || row.value == CKR_ATTRIBUTE_SENSITIVE);
    const bool isEmptySlot =
        call == "C_GetTokenInfo" && (row.value == CKR_TOKEN_NOT_PRESENT || row.value == CKR_TOKEN_NOT_RECOGNIZED);
    return isEnd || isUndisclosed || isEmptySlot ||
           (call == "C_Initialize" && (row.value == CKR_CANT_LOCK || row.value == CKR_CRYPTOKI_ALREADY_INITIALIZED)) ||
           (call == "C_GetMechanismInfo" && row.value == CKR_MECHANISM_INVALID) ||
           (call == "C_Login" && row.value == CKR_USER_ALREADY_LOGGED_IN);
}

TEST_F(Signing, ReportsEachFailureOfADriver) {
    constexpr const char* calls[] = {
        "C_Initialize",   "C_Finalize",         "C_GetInfo",      "C_GetSlotList",      "C_GetSlotInfo",
        "C_GetTokenInfo", "C_OpenSession",      "C_CloseSession", "C_GetMechanismInfo", "C_Login",
        "C_Logout",       "C_FindObjectsInit",  "C_FindObjects",  "C_FindObjectsFinal", "C_SignInit",
        "C_Sign",         "C_GetAttributeValue"};
    constexpr CK_RV values[] = {CKR_HOST_MEMORY,
                                CKR_GENERAL_ERROR,
                                CKR_FUNCTION_FAILED,
                                CKR_ARGUMENTS_BAD,
                                CKR_CANT_LOCK,
                                CKR_ATTRIBUTE_SENSITIVE,
                                CKR_ATTRIBUTE_TYPE_INVALID,
                                CKR_DEVICE_ERROR,
                                CKR_DEVICE_REMOVED,
                                CKR_FUNCTION_NOT_SUPPORTED,
                                CKR_KEY_HANDLE_INVALID,
                                CKR_KEY_FUNCTION_NOT_PERMITTED,
                                CKR_MECHANISM_INVALID,
                                CKR_OBJECT_HANDLE_INVALID,
                                CKR_OPERATION_ACTIVE,
                                CKR_PIN_INCORRECT,
                                CKR_PIN_LOCKED,
                                CKR_PIN_EXPIRED,
                                CKR_SESSION_CLOSED,
                                CKR_SESSION_COUNT,
                                CKR_SESSION_HANDLE_INVALID,
                                CKR_TOKEN_NOT_PRESENT,
                                CKR_TOKEN_NOT_RECOGNIZED,
                                CKR_USER_ALREADY_LOGGED_IN,
                                CKR_USER_NOT_LOGGED_IN,
                                CKR_USER_PIN_NOT_INITIALIZED,
                                CKR_BUFFER_TOO_SMALL,
                                CKR_CRYPTOKI_NOT_INITIALIZED,
                                CKR_CRYPTOKI_ALREADY_INITIALIZED,
                                CKR_VENDOR_DEFINED,
                                0x12345678};
    qputenv("SCRIPTED_DRIVER_REAL", driver);
    void* const library = dlopen(SCRIPTED_DRIVER, RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto takeCounts = reinterpret_cast<void (*)(int*, int*, int*)>(dlsym(library, "takeCounts"));
    const QString name =
        uri(QStringLiteral("token=line;object=firmware"), QStringLiteral("&module-path=" SCRIPTED_DRIVER));
    int failed = 0;
    for (const char* const call : calls) {
        for (const CK_RV value : values) {
            for (const int number : {1, 3}) {
                const FaultRow row{call, value};
                const QByteArray fault =
                    QByteArray(call) + ' ' + QByteArray::number(number) + ' ' + QByteArray::number(qulonglong{value});
                SCOPED_TRACE(fault.constData());
                qputenv("SCRIPTED_DRIVER_FAULT", fault);
                const MessageCapture messages;
                QByteArray signature;
                bool isSigned = false;
                {
                    SigningKey key;
                    isSigned = key.open({name, {}}, SignatureKind::ecdsaP256) && key.sign(digestOf(message), signature);
                }
                int initialized = 0;
                int sessions = 0;
                int logins = 0;
                takeCounts(&initialized, &sessions, &logins);
                EXPECT_EQ(initialized, 0);
                EXPECT_EQ(sessions, 0);
                EXPECT_LE(logins, 1);
                EXPECT_EQ(isSigned, signature.size() == 64);
                EXPECT_EQ(isSigned, messages.texts().empty()) << testing::PrintToString(messages.texts());
                failed += isSigned ? 0 : 1;
                if (!isTolerated(row) && number == 1) {
                    EXPECT_FALSE(isSigned);
                    EXPECT_THAT(messages.texts(), Contains(HasSubstr(std::string("answered ") + call)));
                }
            }
        }
    }
    qunsetenv("SCRIPTED_DRIVER_FAULT");
    EXPECT_GT(failed, 400) << "the faults reached too few calls";
    dlclose(library);
}

}  // namespace
