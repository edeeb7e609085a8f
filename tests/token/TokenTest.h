#pragma once

#include "tests/support/CardTest.h"
#include "token/Driver.h"

#include <QFile>

/// Gives each test a SoftHSM with two tokens: "line", which has a P-256 key "firmware" (id 01) and an RSA key "radio"
/// (id 02), and "other". The PINs are 1234 and 4321.
class TokenTest : public CardTest {
  protected:
    void SetUp() override {
        CardTest::SetUp();
        outsideTool("softhsm2-util --init-token --free --label line --pin 1234 --so-pin 5678");
        outsideTool("softhsm2-util --init-token --free --label other --pin 4321 --so-pin 5678");
        makeKey("EC:prime256v1", "firmware", "01");
        makeKey("rsa:2048", "radio", "02");
        pinPath = folder.write("pin", "1234\n");
        QFile::setPermissions(pinPath, QFile::ReadOwner | QFile::WriteOwner);
    }
    void makeKey(const char* type, const char* label, const char* id, const char* more = "--usage-sign") {
        outsideTool("pkcs11-tool --module " + driver +
                    " --token-label line --login --pin 1234 --keypairgen --key-type " + type + " --label " + label +
                    " --id " + id + ' ' + more);
    }
    /// Removes the right to sign from a private key of the token "line".
    void forbidSigning(const char* id) const {
        token::Driver loaded("token");
        std::vector<CK_SLOT_ID> slotIds;
        ASSERT_TRUE(loaded.loadConfigured() && loaded.listSlots(slotIds));
        const CK_FUNCTION_LIST& call = loaded.functions();
        for (const CK_SLOT_ID slot : slotIds) {
            CK_SESSION_HANDLE session = 0;
            if (call.C_OpenSession(slot, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session) != CKR_OK) {
                continue;  // the slot whose token isn't initialised
            }
            unsigned char pin[] = "1234";
            CK_OBJECT_CLASS kind = CKO_PRIVATE_KEY;
            CK_BBOOL no = CK_FALSE;
            QByteArray wantedId = QByteArray::fromHex(id);
            CK_ATTRIBUTE wanted[] = {{CKA_CLASS, &kind, sizeof kind},
                                     {CKA_ID, wantedId.data(), static_cast<CK_ULONG>(wantedId.size())}};
            CK_ATTRIBUTE changed{CKA_SIGN, &no, sizeof no};
            CK_OBJECT_HANDLE key = 0;
            CK_ULONG count = 0;
            if (call.C_Login(session, CKU_USER, pin, 4) == CKR_OK) {
                ASSERT_EQ(call.C_FindObjectsInit(session, wanted, 2), CKR_OK);
                ASSERT_EQ(call.C_FindObjects(session, &key, 1, &count), CKR_OK);
                ASSERT_EQ(call.C_FindObjectsFinal(session), CKR_OK);
            }
            if (count == 1) {
                ASSERT_EQ(call.C_SetAttributeValue(session, key, &changed, 1), CKR_OK);
            }
            ASSERT_EQ(call.C_CloseSession(session), CKR_OK);
        }
    }
    [[nodiscard]] QString uri(const QString& path, const QString& query = {}) const {
        return QStringLiteral("pkcs11:%1?pin-source=%2%3").arg(path, pinPath, query);
    }

    QString pinPath;
};
