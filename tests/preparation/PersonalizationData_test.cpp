#include "preparation-interface/Preparation.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"
#include "tests/support/outsideTool.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>

#include <gmock/gmock.h>

#include <utility>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

QByteArray derive(Preparation& preparation) {
    QByteArray secret(32, '\0');
    unsigned char* table[]{reinterpret_cast<unsigned char*>(secret.data())};
    return preparation.SignECDH_KDF2(table) ? secret : QByteArray("none");
}

// All cases use the folder beside the test program, so they are in one test.
TEST(PersonalizationData, DerivesTheSecretFromTheKeysBesideTheTool) {
    const QString folder = QCoreApplication::applicationDirPath() + QStringLiteral("/Keys");
    const QByteArray keys = folder.toUtf8() + '/';
    QDir(folder).removeRecursively();
    Preparation preparation;
    MessageCapture messages;
    // The value was computed with openssl pkeyutl and openssl kdf.
    EXPECT_EQ(derive(preparation).toHex(), "0963e5379da02b15148c86f014ffc36b9e7f251a33dd6a0c25b44c3adfc4fe58");
    QDir().mkpath(folder);
    EXPECT_EQ(derive(preparation).toHex().left(8), "0963e537");
    const std::string warning = "Warning: There is no perso_private.pem with a card_public.pem in " +
                                folder.toStdString() +
                                ", the built-in development key pair is used : it is public and protects nothing";
    EXPECT_THAT(messages.texts(), ElementsAre(warning, warning));
    QDir(folder).removeRecursively();

    // If anything exists at the path of the folder or of a key, even a dangling link, the development pair isn't used.
    messages.clear();
    const auto prepare = [&folder](const QString& command) {
        outsideTool(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("rm -rf $0; ") + command, folder});
    };
    const char* const faulty[] = {
        ": > $0",                                     // a file instead of the folder
        "ln -s none $0",                              // the folder is a dangling link
        "ln -s Keys $0",                              // the folder is a link to itself
        "mkdir $0; ln -s none $0/perso_private.pem",  // a key is a dangling link
        "mkdir $0; ln -s none $0/card_public.pem",
        "mkdir $0; mkdir $0/card_public.pem",
    };
    for (const char* const command : faulty) {
        prepare(QString::fromLatin1(command));
        EXPECT_EQ(derive(preparation), "none") << command;
        EXPECT_THAT(messages.texts().back(), testing::StartsWith("Error: Failed to open the private key file " +
                                                                 keys.toStdString() + "perso_private.pem : "))
            << command;
    }
    EXPECT_EQ(messages.texts().size(), std::size(faulty));
    prepare(QStringLiteral("mkdir $0"));
    outsideTool("openssl ecparam -name prime256v1 -genkey -noout -out " + keys + "perso_private.pem");
    EXPECT_EQ(derive(preparation), "none");
    EXPECT_THAT(messages.texts().back(), testing::StartsWith("Error: Failed to open the public key file " +
                                                             keys.toStdString() + "card_public.pem : "));

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
    key.fill('\0');  // a failed derivation leaves the caller's zeros
    EXPECT_EQ(preparation.encryptPersoData(bytesOf(plain), 64, bytesOf(key), bytesOf(iv), bytesOf(output),
                                           bytesOf(output) + 64),
              -1);
    key.fill('k');
    using Bytes = unsigned char*;
    Bytes buffers[] = {bytesOf(plain), bytesOf(key), bytesOf(iv), bytesOf(output), bytesOf(output) + 64};
    for (Bytes& buffer : buffers) {
        const Bytes whole = std::exchange(buffer, nullptr);
        EXPECT_EQ(preparation.encryptPersoData(buffers[0], 64, buffers[1], buffers[2], buffers[3], buffers[4]), -1);
        buffer = whole;
    }
    std::vector<std::string> expected(5, "Error: Personalization data can't be encrypted : a buffer is missing");
    expected.insert(expected.begin(), "Error: Personalization data can't be encrypted without a key");
    EXPECT_EQ(preparation.encryptPersoData(buffers[0], -1, buffers[1], buffers[2], buffers[3], buffers[4]), -1);
    expected.emplace_back("Error: Personalization data of -1 bytes can't be encrypted");
    EXPECT_EQ(messages.texts(), expected);
    EXPECT_EQ(preparation.encryptPersoData(nullptr, 0, buffers[1], buffers[2], nullptr, buffers[4]), 0);
}

}  // namespace
