#include "Preparation/src/ec_crypto.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/outsideTool.h"

#include <QCryptographicHash>

#include <gmock/gmock.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

using testing::ElementsAre;

namespace {

QByteArray sha256(const QByteArray& data) {
    return QCryptographicHash::hash(data, QCryptographicHash::Sha256);
}

}  // namespace

TEST(EcCrypto, MakesKeyFilesTwiceInTheSamePlace) {
    const TempFolder folder;
    const QString privatePath = folder.path("private.pem");
    const QString publicPath = folder.path("public.pem");
    for (const std::int32_t nid : {prime256v1Nid, brainpoolP256t1Nid}) {
        const bool prime = nid == prime256v1Nid;
        const MessageCapture capture;
        EC_Crypto crypto;
        EXPECT_EQ(crypto.setCurve(nid), 1);
        ASSERT_EQ(crypto.generateKeyFiles(privatePath, publicPath, folder.path("hash.bin"), "", prime ? 0 : 1), 1);
        EXPECT_EQ(capture.texts().at(2),
                  prime ? "Generating Prime256v1 keys... \n" : "Generating brainpoolP256t1 keys... \n");
        const QByteArray check = openssl(QStringLiteral("pkey -check -noout -text -passin pass: -in ") + privatePath);
        EXPECT_TRUE(check.contains("Key is valid")) << check.constData();
        EXPECT_TRUE(check.contains(prime ? "OID: prime256v1" : "OID: brainpoolP256t1")) << check.constData();

        const QByteArray der = openssl(QStringLiteral("pkey -pubin -outform DER -in ") + publicPath);
        ASSERT_EQ(der.size(), prime ? 91 : 92);
        EXPECT_EQ(folder.read("hash.bin"), sha256(der.right(64)));
        QByteArray read;
        EXPECT_EQ(crypto.readRawPublicKey(publicPath, read), 1);
        EXPECT_EQ(read, der.right(64));
        EXPECT_EQ(EC_Crypto::readPublicKeyDer(publicPath, read), 1);
        EXPECT_EQ(read, der);
        EXPECT_THAT(capture.texts().back(), testing::MatchesRegex("public key in DER:(\n[0-9A-F ]+)+"));
        EXPECT_TRUE(capture.texts(5).empty());
    }
}

TEST(EcCrypto, KeyFileFaultsEndWhereTheyHappen) {
    const TempFolder folder;
    const QString good = folder.path("file");
    const QString nowhere = folder.path("missing/file");
    const EC_Crypto crypto(prime256v1Nid);
    const MessageCapture capture;
    EXPECT_EQ(crypto.generateKeyFiles(good, good, good, "pass", 2), -1);
    EXPECT_THAT(capture.texts(), ElementsAre("Unsupported algorithm selected for private key encription\n"));
    EC_Crypto other(prime256v1Nid);
    EXPECT_EQ(other.setCurve(prime256v1Nid + 1), -1);
    EXPECT_EQ(other.curveNid, prime256v1Nid + 1);
    EXPECT_EQ(EC_Crypto().generateKeyFiles(good, good, good, "pass", 0), -1);
    EXPECT_EQ(crypto.generateKeyFiles(nowhere, good, good, "pass", 0), -1);
    EXPECT_EQ(crypto.generateKeyFiles(QStringLiteral("/dev/full"), good, good, "pass", 0), -1);
    EXPECT_EQ(crypto.generateKeyFiles(good, nowhere, good, "pass", 0), -1);
    EXPECT_EQ(crypto.generateKeyFiles(good, good, nowhere, "pass", 0), -1);
    EXPECT_THAT(
        capture.texts(5),
        ElementsAre("Error: Unsupported curve NID!\n", "Error: Unsupported curve NID!\n",
                    "Error: Error: creating Key File fails\n", "Error: Error occured while creating PEM file!\n",
                    "Error: Error: writing encrypted private Key fails\n",
                    "Error: Error occured while creating PEM file!\n", "Error: Error: creating key file fails\n",
                    "Error: Error occured while creating public key PEM file!\n",
                    "Error: Error: reading Device key file fails\n",
                    "Error: Error occured while creating public key hash file!\n"));
}

TEST(EcCrypto, RefusesPublicKeysWithoutAPlainPoint) {
    const TempFolder folder;
    const QString path = folder.path("public.pem");
    const MessageCapture capture;
    QByteArray der;
    opensslMakeKey(folder.path("private.pem"), "ED25519");
    openssl(QStringLiteral("pkey -in %1 -pubout -out %2").arg(folder.path("private.pem"), path));
    EXPECT_EQ(EC_Crypto(prime256v1Nid).readRawPublicKey(path, der), -1);
    EXPECT_TRUE(der.isEmpty());
    EXPECT_EQ(capture.texts(5).back(), "Error: Reading public key fails \n");
    EXPECT_EQ(EC_Crypto::readPublicKeyDer(path, der), 1);
    EXPECT_EQ(der.size(), 44);
}

TEST(EcCrypto, RawSignaturesAlwaysHave64Bytes) {
    const TempFolder folder;
    const QString publicPath = folder.path("public.pem");
    const KeyPointer key(EVP_EC_gen("P-256"));
    ASSERT_EQ(Crypto::writePublicKey(publicPath, key.get()), 1);
    const MessageCapture capture;
    // One signature in 128 has a part with a leading zero byte. One in four has the top bit set in both parts.
    bool sawShort = false;
    bool verified = false;
    for (int i = 0; i < 2000 && !(sawShort && verified); ++i) {
        QByteArray raw;
        const QByteArray data = QByteArray::number(i);
        ASSERT_EQ(EC_Crypto::signDigestEcdsa(sha256(data), raw, key.get()), 1);
        ASSERT_EQ(raw.size(), 64);
        sawShort = sawShort || raw.at(0) == 0 || raw.at(32) == 0;
        if (!verified && (raw.at(0) & raw.at(32) & 0x80) != 0) {
            const QByteArray head = QByteArray::fromHex("022100");
            EXPECT_TRUE(opensslVerifies(publicPath, "\x30\x46" + head + raw.left(32) + head + raw.right(32), data));
            verified = true;
        }
    }
    EXPECT_TRUE(sawShort && verified);
    QByteArray raw;
    EXPECT_EQ(EC_Crypto::signDigestEcdsa(sha256("data"), raw, KeyPointer(EVP_RSA_gen(1024)).get()), -1);
    EXPECT_EQ(EC_Crypto::signDigestEcdsa(sha256("data"), raw, KeyPointer(EVP_EC_gen("P-384")).get()), -1);
    EXPECT_EQ(EC_Crypto::signDigestEcdsa({}, raw, key.get()), -1);
    EXPECT_EQ(capture.texts(5).back(), "Error: Error: unvalid hash pointer \n");
    EXPECT_TRUE(raw.isEmpty());
}

TEST(EcCrypto, ReversesBytes) {
    QByteArray out("before");
    EXPECT_EQ(EC_Crypto::reverseBytes(out, "abcd"), 4);
    EXPECT_EQ(out, "dcba");
    EXPECT_EQ(EC_Crypto::reverseBytes(out, {}), 0);
    EXPECT_TRUE(out.isEmpty());
}
