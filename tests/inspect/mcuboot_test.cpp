#include "inspect/KeyFolder.h"
#include "tests/inspect/Inspection.h"
#include "tests/inspect/SealingKit.h"
#include "tests/inspect/SigningKit.h"
#include "tests/support/TempFolder.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

struct Vector {
    std::string name;
    Given given;
    QByteArray firmware;
};

/// Images that imgtool made of one firmware, and the keys to open and prove them.
class InspectMcuboot : public testing::Test {
  protected:
    InspectMcuboot() {
        QFile file(QStringLiteral(QVORA_MCUBOOT));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        const QJsonObject document = QJsonDocument::fromJson(file.readAll()).object();
        const QJsonObject keys = document.value(QLatin1String("keys")).toObject();
        const QString firmware = document.value(QLatin1String("firmware")).toString();
        for (const QJsonValue& item : document.value(QLatin1String("images")).toArray()) {
            const QJsonObject image = item.toObject();
            const auto text = [&image](const char* name) { return image.value(QLatin1String(name)).toString(); };
            Vector vector;
            vector.name = text("name").toStdString();
            vector.given.bytes = QByteArray::fromHex(text("image").toLatin1());
            vector.given.publicKey = keys.value(text("public")).toString().toLatin1();
            vector.given.privateKey = keys.value(text("private")).toString().toLatin1();
            vector.given.isPrinted = false;
            vector.firmware = QByteArray::fromHex(image.value(QLatin1String("firmware")).toString(firmware).toLatin1());
            vectors_.push_back(vector);
        }
    }

    std::vector<Vector> vectors_;
};

QByteArray contentOf(const Given& given) {
    inspect::Source source;
    source.bytes = given.bytes;
    inspect::Evidence evidence;
    evidence.publicKey = given.publicKey;
    evidence.privateKey = QByteArray(given.privateKey.constData(), given.privateKey.size());
    inspect::Contents contents;
    inspect::Description description = inspect::describe(source);
    inspect::prove(source, evidence, description, &contents);
    const QByteArrayView bytes = contents.list.empty() ? QByteArrayView() : contents.list.front().bytes;
    return QByteArray(bytes.data(), bytes.size());
}

TEST_F(InspectMcuboot, OpensWhatImgtoolMakes) {
    ASSERT_EQ(vectors_.size(), 18U);
    for (Vector& vector : vectors_) {
        SCOPED_TRACE(vector.name);
        Given& given = vector.given;
        const bool isEncrypted = !given.privateKey.isEmpty();
        const bool isPlain = !isEncrypted || vector.name.find("primary slot") != std::string::npos;
        EXPECT_EQ(inspectGiven(given).faults(), "");
        EXPECT_EQ(inspectGiven(given).judgement.verdict, inspect::Verdict::proven);
        const bool isPacked = vector.name.find("LZMA2") != std::string::npos;
        const qsizetype padding = isEncrypted && !isPacked ? 32 - vector.firmware.size() : 0;
        EXPECT_EQ(contentOf(given), vector.firmware + QByteArray(padding, '\0'));
        if (isEncrypted) {
            Given closed = given;
            closed.privateKey.clear();
            EXPECT_EQ(inspectGiven(closed).faults(), isPlain ? "" : "?digest ?signature");
            EXPECT_EQ(contentOf(closed).isEmpty(), !isPlain);
            closed.privateKey = "no key";
            EXPECT_EQ(inspectGiven(closed).faults(), isPlain ? "?wrappedKey" : "?digest ?signature ?wrappedKey");
        }
    }
}

// Every fifth byte of each image is changed. Only a byte that, by the ranges of the right image, nothing covers may
// change without an effect.
TEST_F(InspectMcuboot, DetectsAChangeOfEachCoveredByte) {
    qsizetype start = 0;
    for (Vector& vector : vectors_) {
        SCOPED_TRACE(vector.name);
        Given& given = vector.given;
        const std::vector<inspect::Range> uncovered = inspectGiven(given).judgement.uncovered;
        start = (start + 1) % 5;
        for (qsizetype i = start; i < given.bytes.size(); i += 5) {
            const bool isCovered = std::none_of(uncovered.begin(), uncovered.end(), [i](const inspect::Range& range) {
                return i >= range.offset && i < range.offset + range.size;
            });
            given.bytes[i] = static_cast<char>(given.bytes.at(i) ^ 4);
            EXPECT_FALSE(isCovered && inspectGiven(given).judgement.verdict == inspect::Verdict::proven) << i;
            given.bytes[i] = static_cast<char>(given.bytes.at(i) ^ 4);
        }
    }
}

// The key of the signature is found only if the private key opens the image.
TEST_F(InspectMcuboot, FindsTheKeyOfAnEncryptedImageInAFolder) {
    const TempFolder folder;
    QString expected;
    inspect::Source source;
    inspect::Evidence evidence;
    for (const Vector& vector : vectors_) {
        const QString path = folder.write((QByteArray::number(qHash(vector.given.publicKey)) + ".pem").constData(),
                                          vector.given.publicKey);
        if (vector.name == "ECIES-X25519, AES-128") {
            expected = path;
            source.bytes = vector.given.bytes;
            evidence.privateKey = QByteArray(vector.given.privateKey.constData(), vector.given.privateKey.size());
        }
    }
    inspect::KeyFolder keys;
    QString fault;
    ASSERT_TRUE(keys.read(folder.path("."), fault)) << fault.toStdString();
    keys.fit(source, inspect::describe(source), evidence);
    EXPECT_EQ(QFileInfo(evidence.publicKeyFile).canonicalFilePath(), QFileInfo(expected).canonicalFilePath());
    evidence.privateKey.clear();
    keys.fit(source, inspect::describe(source), evidence);
    EXPECT_TRUE(evidence.publicKey.isEmpty());
}

// The hash of the compressed image is right in each row, so that only the checks of the plain code can fail.
TEST(InspectMcubootPacked, ProvesThePlainCode) {
    KitMcuboot plain;
    plain.protectedTlvs.clear();
    constexpr qsizetype header = 32;
    const QByteArray digest = kitSha256(kitMake(plain).first(header + plain.code.size()));
    const QByteArray size = QByteArray::fromHex("28000000");
    // A stream with one chunk that isn't packed: its mark, its size and its bytes, then the end mark.
    const QByteArray stream = QByteArray::fromHex("185d010027") + plain.code + QByteArray(1, '\0');
    struct Row {
        const char* name;
        std::uint32_t flags;
        QByteArray code;
        std::vector<KitTlv> tlvs;
        const char* faults;
    };
    const Row rows[] = {
        {"right", 0x400, stream, {{0x70, size}, {0x71, digest}}, "?signature"},
        {"with other entries", 0x400, stream, {{0x70, size}, {0x71, digest}, {0xA0, "x"}}, "?signature digest"},
        {"Thumb code without branches", 0xC00, stream, {{0x70, size}, {0x71, digest}}, "?signature"},
        {"padded by the cipher",
         0x400,
         stream + '\0',
         {{0x70, size}, {0x71, digest}, {0x73, QByteArray::fromHex("2e000000")}},
         "?signature"},
        {"longer than its entry",
         0x400,
         stream,
         {{0x70, size}, {0x71, digest}, {0x73, QByteArray::fromHex("ff000000")}},
         "?signature unpacked"},
        {"other digest", 0x400, stream, {{0x70, size}, {0x71, QByteArray(32, 'd')}}, "?signature digest"},
        {"other size", 0x400, stream, {{0x70, QByteArray::fromHex("29000000")}, {0x71, digest}}, "?signature unpacked"},
        {"smaller size",
         0x400,
         stream,
         {{0x70, QByteArray::fromHex("27000000")}, {0x71, digest}},
         "?signature unpacked"},
        {"huge size", 0x400, stream, {{0x70, QByteArray(4, '\xff')}, {0x71, digest}}, "?signature unpacked"},
        {"no size", 0x400, stream, {{0x71, digest}}, "?signature unpacked"},
        {"no entries", 0x400, stream, {}, "?signature unpacked"},
        {"cut off", 0x400, stream.chopped(1), {{0x70, size}, {0x71, digest}}, "?signature unpacked"},
        {"empty", 0x400, "", {{0x70, size}, {0x71, digest}}, "?signature unpacked"},
    };
    for (const Row& row : rows) {
        KitMcuboot packed = plain;
        packed.flags = row.flags;
        packed.code = row.code;
        packed.protectedTlvs = row.tlvs;
        Given given;
        given.bytes = kitMake(packed);
        EXPECT_EQ(inspectGiven(given).faults(), row.faults) << row.name;
        const bool isOpened = std::string(row.faults).find("unpacked") == std::string::npos;
        EXPECT_EQ(contentOf(given), isOpened ? plain.code : QByteArray()) << row.name;
    }
}

TEST_F(InspectMcuboot, ShowsEntriesInTheReadersTerms) {
    for (const Vector& vector : vectors_) {
        if (vector.name != "P-384, SHA-384" && vector.name != "big-endian") {
            continue;
        }
        Given given = vector.given;
        given.isPrinted = true;
        const std::string text = inspectGiven(given).text("show");
        for (const char* const shown :
             {"version 1.2.3+9", "value 7", "image 1, least version 1.2.3+4", "software type role",
              "software version 1.2.3", "measurement type SHA", "type 160, value 1234"}) {
            EXPECT_NE(text.find(shown), std::string::npos) << shown << '\n' << text;
        }
    }
}

}  // namespace
