#include "inspect/KeyFolder.h"
#include "tests/inspect/Inspection.h"
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
};

/// Images that imgtool made of one firmware, and the keys to open and prove them.
class InspectMcuboot : public testing::Test {
  protected:
    InspectMcuboot() {
        QFile file(QStringLiteral(QVORA_MCUBOOT));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        const QJsonObject document = QJsonDocument::fromJson(file.readAll()).object();
        const QJsonObject keys = document.value(QLatin1String("keys")).toObject();
        firmware_ = QByteArray::fromHex(document.value(QLatin1String("firmware")).toString().toLatin1());
        for (const QJsonValue& item : document.value(QLatin1String("images")).toArray()) {
            const QJsonObject image = item.toObject();
            const auto text = [&image](const char* name) { return image.value(QLatin1String(name)).toString(); };
            Vector vector;
            vector.name = text("name").toStdString();
            vector.given.bytes = QByteArray::fromHex(text("image").toLatin1());
            vector.given.publicKey = keys.value(text("public")).toString().toLatin1();
            vector.given.privateKey = keys.value(text("private")).toString().toLatin1();
            vector.given.isPrinted = false;
            vectors_.push_back(vector);
        }
    }

    QByteArray firmware_;
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
    ASSERT_EQ(vectors_.size(), 15U);
    for (Vector& vector : vectors_) {
        SCOPED_TRACE(vector.name);
        Given& given = vector.given;
        const bool isEncrypted = !given.privateKey.isEmpty();
        const bool isPlain = !isEncrypted || vector.name.find("primary slot") != std::string::npos;
        EXPECT_EQ(inspectGiven(given).faults(), "");
        EXPECT_EQ(inspectGiven(given).judgement.verdict, inspect::Verdict::proven);
        const qsizetype padding = isEncrypted ? 32 - firmware_.size() : 0;
        EXPECT_EQ(contentOf(given), firmware_ + QByteArray(padding, '\0'));
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

// Every third byte of each image is changed. Only a byte that, by the ranges of the right image, nothing covers may
// change without an effect.
TEST_F(InspectMcuboot, DetectsAChangeOfEachCoveredByte) {
    qsizetype start = 0;
    for (Vector& vector : vectors_) {
        SCOPED_TRACE(vector.name);
        Given& given = vector.given;
        const std::vector<inspect::Range> uncovered = inspectGiven(given).judgement.uncovered;
        start = (start + 1) % 3;
        for (qsizetype i = start; i < given.bytes.size(); i += 3) {
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
