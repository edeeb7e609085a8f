// A card as a step, with SoftHSM.

#include "tests/produce/ProductionKit.h"
#include "tests/support/CardTest.h"

#include <gmock/gmock.h>

namespace {

/// A line that programs a card for each device: an install image and the card with its key and nonce.
class CardStep : public CardTest {
  protected:
    void SetUp() override {
        CardTest::SetUp();
        kit.secret("perso.bin", QByteArray(108, 'p'));
        writeJob("{nonce:secrets}", "");
    }
    void writeJob(const QByteArray& nonce, const QByteArray& more) const {
        kit.writeJob("job.json", ProductionKit::secretsStep + R"(, {"job": "card", "values": {
            "slot": "0", "firmware-id": "{serial}", "licences": "100", "key": "{key:image}", "nonce": ")" +
                                     nonce + "\"" + more + "}}");
    }
    /// The result of the tool's own command for the same card.
    Ended program(const char* id, const QString& key, const QString& nonce) const {
        return runProgram(QStringLiteral(QVORA_TOOL),
                          {QStringLiteral("-hsm"), QStringLiteral("-i"), QStringLiteral("0"), QStringLiteral("-id"),
                           QLatin1String(id), QStringLiteral("-mc"), QStringLiteral("100"), QStringLiteral("-k"), key,
                           QStringLiteral("-n"), nonce},
                          kit.folder.path(""));
    }
    /// Whether the card encrypts a block with the key of the line.
    bool holdsKey() {
        const QString block = folder.write("block", "0123456789abcdef");
        const QString encrypted = folder.path("encrypted");
        pkcs11Tool("--encrypt -m AES-ECB --label vx-card-key --input-file " + block.toUtf8() + " --output-file " +
                   encrypted.toUtf8());
        return fileContent(encrypted) == outsideTool("openssl enc -aes-128-ecb -nopad -K " +
                                                     ProductionKit::key.toHex() + " -in " + block.toUtf8());
    }

    const ProductionKit kit;
};

TEST_F(CardStep, ProgramsAndProvesACard) {
    const Ended ended = kit.one("SN1");
    EXPECT_EQ(ended.status, 0) << ended.errors.constData();
    EXPECT_TRUE(holdsKey());
    EXPECT_EQ(pkcs11Tool("--read-object --type data --label vx-card-nonce").size(), 12);
    kit.expectSound();
}

// The card is programmed, but its device isn't proven, as after a crash between programming and the commit.
TEST_F(CardStep, CountsACardThatHoldsTheRightContent) {
    const QString key = kit.secret("card-key.bin", ProductionKit::key);
    const QString nonce = kit.folder.write("card-nonce.bin", "twelve bytes");
    writeJob("card-nonce.bin", "");
    ASSERT_EQ(program("SN1", key, nonce).status, 0);
    const Ended ended = kit.one("SN1");
    EXPECT_EQ(ended.status, 0) << ended.errors.constData();
    kit.expectSound();
}

TEST_F(CardStep, RefusesACardThatHoldsSomethingElse) {
    writeJob("card-nonce.bin", "");
    const QString key = kit.secret("card-key.bin", ProductionKit::key);
    const QString otherKey = kit.secret("other-key.bin", QByteArray(16, 'o'));
    const QString nonce = kit.folder.write("card-nonce.bin", "twelve bytes");
    const QString otherNonce = kit.folder.write("other-nonce.bin", "other  nonce");
    const struct {
        const char* id;
        QString key;
        QString nonce;
        const char* says;
    } rows[] = {
        {"SN2", key, nonce, "firmware identifier"}, {"SN1", otherKey, nonce, "key"}, {"SN1", key, otherNonce, "nonce"}};
    for (const auto& row : rows) {
        ASSERT_EQ(program(row.id, row.key, row.nonce).status, 0) << row.says;
        const Ended ended = kit.one("SN1");
        EXPECT_EQ(ended.status, 1) << row.says;
        EXPECT_THAT(ended.faults(), testing::HasSubstr(std::string("The card holds another ") + row.says)) << row.says;
        outsideTool("softhsm2-util --delete-token --token card");
        makeToken();
    }
    // A card without the nonce's object was damaged.
    ASSERT_EQ(program("SN1", key, nonce).status, 0);
    pkcs11Tool("--delete-object --type data --label vx-card-nonce");
    EXPECT_THAT(kit.one("SN1").faults(), testing::HasSubstr("0 objects named vx-card-nonce"));
}

TEST_F(CardStep, NeedsTheRightPinAndACard) {
    qputenv("QVORA_HSM_PIN", "9999");
    EXPECT_THAT(kit.one("SN1").faults(), testing::HasSubstr("card: status "));
    qunsetenv("QVORA_HSM_PIN");
    const Ended ended = kit.one("SN2");
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.faults(), testing::HasSubstr("The PIN of the cards is missing"));
    qputenv("QVORA_HSM_PIN", "1234");
    writeJob("{nonce:secrets}", R"(, "action": "read")");
    EXPECT_THAT(kit.one("SN3").faults(), testing::HasSubstr("A step programs the card"));
    outsideTool("softhsm2-util --delete-token --token card");
    writeJob("{nonce:secrets}", "");
    EXPECT_THAT(kit.one("SN4").faults(), testing::HasSubstr("SN4: card: status "));
}

}  // namespace
