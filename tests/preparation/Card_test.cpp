#include "preparation-interface/Preparation.h"
#include "tests/support/CardTest.h"
#include "tests/support/MessageCapture.h"

#include <gmock/gmock.h>

#include <array>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

const QByteArray key("0123456789abcdef");
const QByteArray nonce("nonce-12byte");
const QByteArray perso(108, 'p');
const QByteArray readData("--read-object --type data --label ");
const QByteArray version1Info = QByteArray::fromHex(
    "0117414243000000"
    "05000000"
    "30313233343536373839414243444546");

class Card : public CardTest {
  protected:
    std::vector<std::string> labels(const char* login = "--login --pin 1234 ") {
        std::vector<std::string> result;
        for (const QByteArray& line : pkcs11Tool("--list-objects", login).split('\n')) {
            if (line.trimmed().startsWith("label:")) {
                result.push_back(line.mid(line.indexOf(':') + 1).trimmed().replace('\'', "").toStdString());
            }
        }
        return result;
    }
    /// The card's version, state, type, counter and identifier, separated by blanks.
    std::string info() {
        std::array<unsigned char, 17> identifier{};
        std::array<unsigned char, 4> type{};
        identifier.fill('?');
        unsigned int counter = 0;
        unsigned char state = 0;
        unsigned char version = 0;
        if (!preparation.getHSMInfo(0, identifier.data(), counter, state, type.data(), &version)) {
            return "unreadable";
        }
        return QString::asprintf("%d %d %s %u %s", version, state, type.data(), counter, identifier.data())
            .toStdString();
    }
    bool provision(const QByteArray& persoData = perso) {
        return preparation.HSMProvisioning(0, key, nonce, 1000000, QStringLiteral("Gerät 01"), true, persoData);
    }

    Preparation preparation;
    MessageCapture messages;
};

TEST_F(Card, ContainsTheProgrammedData) {
    EXPECT_EQ(info(), "2 7 SWT 0 ");
    ASSERT_TRUE(provision());
    EXPECT_EQ(info(), "2 39 SWT 1000000 Gerät 01");
    EXPECT_THAT(messages.texts(), IsEmpty());
    EXPECT_EQ(pkcs11Tool(readData + "vx-card-info", "").toHex(),
              "022753575400000040420f00476572c3a47420303100000000000000");
    EXPECT_EQ(pkcs11Tool(readData + "vx-card-nonce"), nonce);
    EXPECT_EQ(pkcs11Tool(readData + "vx-card-perso"), perso);
    EXPECT_THAT(labels(), UnorderedElementsAre("vx-card-info", "vx-card-key", "vx-card-nonce", "vx-card-perso"));
    EXPECT_THAT(labels(""), ElementsAre("vx-card-info"));  // the other objects need the PIN
    // The key can be used, but not read.
    const QByteArray block = folder.write("block", "sixteen bytes ..").toUtf8();
    const QByteArray result = folder.path("result").toUtf8();
    pkcs11Tool("--encrypt -m AES-ECB --label vx-card-key --input-file " + block + " --output-file " + result);
    EXPECT_EQ(folder.read("result"),
              outsideTool("openssl enc -aes-128-ecb -nopad -K " + key.toHex() + " -in " + block));
    EXPECT_THAT(pkcs11Tool("--list-objects --type secrkey").toStdString(),
                testing::AllOf(HasSubstr("sensitive"), testing::Not(HasSubstr(" extractable"))));
    EXPECT_FALSE(provision());
    EXPECT_THAT(messages.texts(), ElementsAre("Error: The card in slot 0 is programmed already, it is left as it is"));
}

TEST_F(Card, KeepsVersionAndTypeAndClearsLeftovers) {
    writeData("vx-card-info", version1Info);
    writeData("vx-card-nonce", "of an attempt that broke off");
    EXPECT_FALSE(provision());
    EXPECT_THAT(messages.texts(),
                ElementsAre("Error: The card in slot 0 is of version 1, which can't store personalization data"));
    ASSERT_TRUE(provision({}));
    EXPECT_EQ(pkcs11Tool(readData + "vx-card-nonce"), nonce);
    writeData("vx-card-info", version1Info);  // as if a power cut came before the removal of the older object
    EXPECT_EQ(info(), "1 39 ABC 1000000 Gerät 01");
}

TEST_F(Card, SaysWhyItCantBeProgrammed) {
    const auto expectRefusal = [this](const std::string& message, int slot = 0, const char* identifier = "id") {
        EXPECT_FALSE(preparation.HSMProvisioning(slot, key, nonce, 1, QString::fromUtf8(identifier), true, {}));
        EXPECT_EQ(messages.texts().back(), "Error: " + message);
    };
    expectRefusal("The firmware identifier has 16 bytes in UTF-8, a card has room for 15", 0, "ääääääää");
    expectRefusal("The firmware identifier of a card can't be empty", 0, "");
    expectRefusal("There is no card in slot 2 : 2 slots have a card, counted from 0", 2);
    for (const int size : {27, 70000}) {
        writeData("vx-card-info", QByteArray(size, '\x07'));
        expectRefusal("The object vx-card-info on the card doesn't have 28 bytes");
        pkcs11Tool("--delete-object --type data --label vx-card-info");
    }
    qputenv("QVORA_HSM_PIN", "4321");
    expectRefusal("The card answered C_Login for the user PIN with CKR_PIN_INCORRECT (0x000000A0)");
    EXPECT_THAT(labels(), IsEmpty());
    qputenv("QVORA_HSM_MODULE", "none.so");
    expectRefusal(
        "The card driver none.so can't be loaded (QVORA_HSM_MODULE names another one) : none.so: cannot open shared "
        "object file: No such file or directory");
    EXPECT_EQ(messages.texts().size(), 7u);
}

// Each driver call of a provisioning fails in turn. Either only this call fails, or all later calls fail, too, as if
// the card were removed.
TEST_F(Card, SurvivesAFaultInAnyCall) {
    const auto complete = UnorderedElementsAre("vx-card-info", "vx-card-key", "vx-card-nonce");
    qputenv("FAILING_DRIVER_REAL", driver);
    for (const char* gone : {"", "-"}) {
        bool done = false;
        int call = 0;
        while (!done && call < 100) {
            outsideTool("softhsm2-util --delete-token --token card");
            makeToken();
            writeData("vx-card-info", version1Info);
            messages.clear();
            qputenv("FAILING_DRIVER_CALL", gone + QByteArray::number(++call));
            qputenv("QVORA_HSM_MODULE", FAILING_DRIVER);
            done = provision({});
            qputenv("QVORA_HSM_MODULE", driver);
            if (!done) {
                EXPECT_THAT(messages.texts().front(), HasSubstr("CKR_DEVICE_REMOVED (0x00000032)"));
            }
            if (!done && *gone == '\0') {
                EXPECT_THAT(labels(), ElementsAre("vx-card-info")) << call;
            }
            if (info() == "1 23 ABC 5 0123456789ABCDEF") {
                EXPECT_TRUE(provision({})) << call;  // clears the objects of the failed attempt
                EXPECT_THAT(labels(), complete) << call;
            } else {  // all objects are written; only the removal of the older information may have failed
                EXPECT_EQ(labels().size(), done ? 3u : 4u) << call;
            }
        }
        EXPECT_TRUE(done && call > 20);
    }
}

}  // namespace
