#include "preparation-interface/Preparation.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"
#include "tests/support/outsideTool.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

QByteArray derive(Preparation& preparation) {
    QByteArray secret(32, '\0');
    unsigned char* table[]{reinterpret_cast<unsigned char*>(secret.data())};
    return preparation.SignECDH_KDF2(table) ? secret : QByteArray("none");
}

// The folder beside the test program serves all of it, so it is one test.
TEST(PersonalizationData, DerivesTheSecretFromTheKeysBesideTheTool) {
    const QString folder = QCoreApplication::applicationDirPath() + QStringLiteral("/Keys");
    const QByteArray keys = folder.toUtf8() + '/';
    QDir(folder).removeRecursively();
    Preparation preparation;
    MessageCapture messages;
    // Computed by openssl pkeyutl and openssl kdf.
    EXPECT_EQ(derive(preparation).toHex(), "0963e5379da02b15148c86f014ffc36b9e7f251a33dd6a0c25b44c3adfc4fe58");
    QDir().mkpath(folder);
    outsideTool("openssl ecparam -name prime256v1 -genkey -noout -out " + keys + "perso_private.pem");
    EXPECT_EQ(derive(preparation).toHex().left(8), "0963e537");  // one key alone doesn't count
    const std::string warning = "Warning: There is no perso_private.pem with a card_public.pem in " +
                                folder.toStdString() +
                                ", the built-in development key pair is used : it is public and protects nothing";
    EXPECT_THAT(messages.texts(), ElementsAre(warning, warning));

    messages.clear();
    outsideTool("openssl ecparam -name prime256v1 -genkey -noout -out " + keys + "card.pem");
    outsideTool("openssl pkey -in " + keys + "card.pem -pubout -out " + keys + "card_public.pem");
    const QByteArray shared = outsideTool("openssl pkeyutl -derive -inkey " + keys + "perso_private.pem -peerkey " +
                                          keys + "card_public.pem");
    // ANSI X9.63: one block of SHA-256(Z || 00000001).
    EXPECT_EQ(derive(preparation),
              QCryptographicHash::hash(shared + QByteArray::fromHex("00000001"), QCryptographicHash::Sha256));
    EXPECT_THAT(messages.texts(), IsEmpty());

    outsideTool("openssl pkey -in " + keys + "card.pem -out " + keys + "card_public.pem");
    EXPECT_EQ(derive(preparation), "none");  // a faulty key isn't replaced by the development pair
    EXPECT_THAT(messages.texts(), ElementsAre("Error: " + folder.toStdString() +
                                              "/card_public.pem is not a valid P-256 public key in PEM form"));
    QDir(folder).removeRecursively();
}

TEST(PersonalizationData, Encrypts) {
    // McGrew and Viega, The Galois/Counter Mode of Operation, test case 3.
    const auto bytesOf = [](QByteArray& bytes) { return reinterpret_cast<unsigned char*>(bytes.data()); };
    QByteArray key = QByteArray::fromHex("feffe9928665731c6d6a8f9467308308");
    QByteArray iv = QByteArray::fromHex("cafebabefacedbaddecaf888");
    QByteArray plain = QByteArray::fromHex(
        "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a72"
        "1c3c0c95956809532fcf0e2449a6b525b16aedf5aa0de657ba637b391aafd255");
    QByteArray output(64 + 16, '\0');
    Preparation preparation;
    EXPECT_EQ(preparation.encryptPersoData(bytesOf(plain), 64, bytesOf(key), bytesOf(iv), bytesOf(output),
                                           bytesOf(output) + 64),
              64);
    EXPECT_EQ(output.toHex(),
              "42831ec2217774244b7221b784d0d49ce3aa212f2c02a4e035c17e2329aca12e"
              "21d514b25466931c7d8f6a5aac84aa051ba30b396a0aac973d58e091473f5985"
              "4d5c2af327cd64a62cf35abd2ba6fab4");
    const MessageCapture messages;
    key.fill('\0');  // what a derivation that failed leaves
    EXPECT_EQ(preparation.encryptPersoData(bytesOf(plain), 64, bytesOf(key), bytesOf(iv), bytesOf(output),
                                           bytesOf(output) + 64),
              -1);
    EXPECT_THAT(messages.texts(), ElementsAre("Error: Personalization data can't be encrypted without a key"));
}

}  // namespace
