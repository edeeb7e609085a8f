#include "Preparation/src/ecdh.h"
#include "tests/support/MessageCapture.h"

#include <QCryptographicHash>

#include <gmock/gmock.h>

// NIST CAVP, ECC CDH primitive, P-256, count 0: scalar, peer's point, shared x coordinate.
TEST(Ecdh, DerivesFromThePublishedSharedCoordinate) {
    const auto scalar = QByteArray::fromHex("7d7dc5f71eb29ddaf80d6214632eeae03d9058af1fb6d22ed80badb62bc1a534");
    const auto shared = QByteArray::fromHex("46fc62106420ff012e54a434fbdd2d25ccc5852060561e68040dd7778997bd7b");
    auto point = QByteArray::fromHex(
        "04700c48f77f56584c5cc632ca65640db91b6bacce3a4df6b42ce7cc838833d287"
        "db71e509e3fd9b060ddb20ba5c51dcc5948d46fbf640dfe0441782cab85fa4ac");
    const MessageCapture capture;
    QByteArray secret;
    ASSERT_EQ(computeEcdhSecret(secret, scalar, point), 32);
    EXPECT_EQ(secret, QCryptographicHash::hash(shared + QByteArray("\0\0\0\1", 4), QCryptographicHash::Sha256));
    const QByteArray compressed = '\2' + point.sliced(1, 32);  // Y is even
    for (const QByteArray& other : {compressed, point + '\0', QByteArray()}) {
        EXPECT_EQ(computeEcdhSecret(secret, scalar, other), 0) << other.size();
    }
    point[64] = 0;  // the point is no longer on the curve
    EXPECT_EQ(computeEcdhSecret(secret, scalar.left(31), point), 0);
    EXPECT_EQ(ecdhSelfTest(), 1);
    const std::string badPoint = "Error: Failed ecPeerKey = EC_KEY_new().\n";
    EXPECT_THAT(capture.texts(), testing::ElementsAre(badPoint, badPoint, badPoint,
                                                      "Error: Failed Convert to BIGNUM for private key conversion.\n",
                                                      badPoint, "ECDH Work correctly yeaaah\n"));
}
