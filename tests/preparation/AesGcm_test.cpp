#include "Preparation/src/library/AesGcm.h"

#include <QByteArray>

#include <gtest/gtest.h>

namespace {

/// Encrypts in two pieces; ciphertext, then tag, in hex. Empty on failure.
QByteArray encrypt(AesGcm& cipher, const QByteArray& iv, const QByteArray& authenticated, const QByteArray& plain) {
    const QByteArrayView text(plain);
    const QByteArrayView additional(authenticated);
    const qsizetype cut = plain.size() / 3;
    QByteArray result(plain.size() + AesGcm::tagSize, '\0');
    char* const out = result.data();
    const bool done = cipher.start(iv, {additional.first(cut / 2), additional.sliced(cut / 2)}) &&
                      cipher.encrypt(text.first(cut), out) && cipher.encrypt(text.sliced(cut), out + cut) &&
                      cipher.finish(out + plain.size());
    return done ? result.toHex() : QByteArray();
}

// Test case 6 of "The Galois/Counter Mode of Operation" (McGrew, Viega), appendix B.
TEST(AesGcm, MatchesAPublishedVectorAndKeepsOrder) {
    const auto authenticated = QByteArray::fromHex("feedfacedeadbeeffeedfacedeadbeefabaddad2");
    const auto plain = QByteArray::fromHex(
        "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a721c3c0c95956809532fcf0e2449a6b525b16aedf5aa0de6"
        "57ba637b39");
    const auto iv = QByteArray::fromHex(
        "9313225df88406e555909c5aff5269aa6a7a9538534f7da1e4c303d2a318a728c3c0c95156809539fcf0e2429a6b525416aedbf5a0de6a"
        "57a637b39b");
    AesGcm cipher;
    char room[AesGcm::tagSize]{};
    EXPECT_FALSE(cipher.start("before a key"));
    EXPECT_FALSE(cipher.setKey("fifteen bytes.."));
    ASSERT_TRUE(cipher.setKey(QByteArray::fromHex("feffe9928665731c6d6a8f9467308308")));
    EXPECT_FALSE(cipher.encrypt("x", room)) << "before start";
    EXPECT_EQ(encrypt(cipher, iv, authenticated, plain),
              "8ce24998625615b603a033aca13fb894be9112a5c3a211a8ba262a3cca7e2ca701e4a9a4fba43c90ccdcb281d48c7c6fd62875d2"
              "aca417034c34aee5619cc5aefffe0bfa462af43c1699d050");
    EXPECT_FALSE(cipher.finish(room)) << "twice";
    EXPECT_FALSE(cipher.start({}));
    EXPECT_FALSE(cipher.start(QByteArray(AesGcm::maxIvSize + 1, 'i')));
}

}  // namespace
