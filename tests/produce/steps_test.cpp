// A step writes the bytes that the tool writes for the same inputs. Each job that can be a step is run once in a
// production and once by the tool's own program.

#include "jobs/commandLine.h"
#include "produce/IvRule.h"
#include "produce/fillIn.h"
#include "produce/proof.h"
#include "produce/readProductionJob.h"
#include "tests/produce/ProductionKit.h"
#include "tests/support/outsideTool.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QStandardPaths>
#include <QtEndian>

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace produce {

namespace {

/// Example files, and new keys.
constexpr char makeSources[] = R"(
    set -e
    umask 077
    cp "$1"/firmware/* "$1"/provisioning/* "$1"/templates/* .
    cp -r "$1/backup" .
    mkdir -p keys tool
    cp image.bin long.bin
    openssl ecparam -name prime256v1 -genkey -noout -out ec.pem
    openssl pkey -in ec.pem -pubout -out ec-pub.pem
    openssl ecparam -name prime256v1 -genkey -noout | openssl pkcs8 -topk8 -nocrypt -out keys/authentication.pem
    openssl pkey -in keys/authentication.pem -pubout -out keys/authentication_pub.pem
    openssl genrsa -traditional -out rsa.pem 2048 2>/dev/null
    openssl rsa -in rsa.pem -pubout -out rsa-pub.pem 2>/dev/null
    head -c 4096 /dev/zero | openssl enc -aes-128-ctr -K 00112233445566778899aabbccddeeff -iv 0 2>/dev/null >app.bin
    { head -c 1020 app.bin; printf '\221\051\067\043'; } >stack.bin
    head -c 152 app.bin >secrets.bin
    head -c 12 app.bin >own12.bin
    tail -c 16 app.bin >own16.bin
    head -c 92 app.bin >card.bin
    "$2" -backupgen -in backup/backup.json -o backup.bin >/dev/null
    chmod 600 key.bin nonce.bin *.bin *.pem keys/* backup/*
)";

enum class Same {
    bytes,      ///< all files are equal
    signature,  ///< they are equal but for a signature with a random number
    form,       ///< the files contain new keys, so only their sizes are compared, roughly
};

/// The largest number of bytes that two signatures on P-256 differ in: a DER form of 72 bytes, in the digits of a HEX
/// file with the sums of its lines.
constexpr qsizetype mostOfSignature = 170;

struct Case {
    const char* name;
    const char* job;
    const char* step;  ///< the members of the step after its job
    const char* keys = R"("k": {"file": "image.bin"})";
    const char* options = "";  ///< of qvora-produce
    Same same = Same::bytes;
};

const std::vector<Case> cases = {
    {"install image", "install-image",
     R"("values": {"device": "0x455", "firmware": [{"path": "blink.elf"}, {"path": "app.bin", "beside": "0x20000000"}],
        "key": "{key:k}", "nonce": "{nonce}", "version": "1", "option-bytes": "option-bytes.csv", "out": "{out}/a.tbi"})"},
    {"install image for external memory", "install-image",
     R"("values": {"device": "0x455", "firmware": [{"path": "app.bin", "beside": "134217728"}],
        "external": "stack.bin", "external-address": "0xB0000000", "external-region": "0", "external-mode": "1",
        "external-key-address": "0x04010000",
        "more-external": [{"path": "app.bin", "beside": " 0xB0100000  1 1 0x04010020 "}],
        "key": "{key:k}", "nonce": "{nonce}", "version": "1", "out": "{out}/x.tbix"})"},
    {"install image with the user's key and nonce", "install-image",
     R"("values": {"device": "0x455", "firmware": [{"path": "{column:fw}"}], "key": "{column:key}",
        "nonce": "{column:nonce}", "version": "1", "out": "{out}/{serial}.tbi"})",
     "", "--column fw=blink.hex --column key=image.bin --column nonce=own12.bin"},
    {"update image", "update-image",
     R"("values": {"firmware": "app.bin", "key": "{key:k}", "nonce": "{nonce}", "version": "2",
        "header": "{out}/{serial}/a.tbuh", "image": "{out}/images/a.tbu"})"},
    {"payload", "payload",
     R"("values": {"secrets": "secrets.bin", "public-key": "oem-public.pem", "key": "{key:k}", "nonce": "{nonce}",
        "out": "{out}/payload.pvs"})"},
    {"payload whose inputs are keys", "payload",
     R"("values": {"secrets": "{key:secrets}", "public-key": "{key:oem}", "key": "{key:k}", "nonce": "{column:nonce}",
        "out": "{out}/payload.pvs"})",
     R"("k": {"file": "image.bin"}, "oem": {"file": "ec-pub.pem"}, "secrets": {"file": "secrets.bin"})",
     "--column nonce=own16.bin"},
    {"backup image", "backup-image", R"("values": {"description": "backup/backup.json", "out": "{out}/backup.bin"})",
     ""},
    {"provisioning image", "provisioning-image",
     R"("values": {"secrets": "secrets.bin", "backup": [{"path": "backup.bin", "beside": "0x50000000"}],
        "key": "{key:k}", "nonce": "{nonce}", "version": "1", "out": "{out}/secrets.pvs"})"},
    {"provisioning image whose inputs are keys", "provisioning-image",
     R"("values": {"secrets": "{key:secrets}", "backup": [{"path": "{key:backup}", "beside": "0x50000000"}],
        "key": "{key:k}", "nonce": "{nonce}", "out": "{out}/secrets.pvs"})",
     R"("k": {"file": "image.bin"}, "secrets": {"file": "secrets.bin"}, "backup": {"file": "backup.bin"})"},
    {"provisioning image with a log", "provisioning-image",
     R"("values": {"secrets": "secrets.bin", "key": "{key:k}", "nonce": "{nonce}", "out": "{out}/secrets.pvs",
        "log": "{out}/log.txt"})"},
    {"signed image", "sign",
     R"("values": {"binary": "stack.bin", "key": "{key:ec}", "version": "1", "out": "{out}/signed.bin"},
        "proof": {"public": "ec-pub.pem"})",
     R"("ec": {"file": "ec.pem"})", "", Same::signature},
    {"provisioning file", "provisioning-file",
     R"("values": {"template": "{out}/provisioning.xml"}, "copies": [
        {"from": "provisioning.xml", "to": "{out}/provisioning.xml", "expand": true},
        {"from": "keys/authentication.pem", "to": "{out}/keys/authentication.pem"},
        {"from": "keys/authentication_pub.pem", "to": "{out}/keys/authentication_pub.pem"}])",
     "", ""},
    {"encrypted memory", "external-memory",
     R"("values": {"application": "app.bin", "address": "B0000000", "key": "{key:k}", "mode": "2", "folder": "{out}"})"},
    {"encrypted memory with the user's key", "external-memory",
     R"("values": {"application": "app.bin", "address": "B0000000", "key": "{column:key}", "mode": "0",
        "folder": "{out}/memory"})",
     "", "--column key=long.bin"},
    {"wireless keys", "wireless-keys",
     R"("values": {"private-key": "{out}/rsa.pem", "public-key": "{out}/rsa-pub.pem", "c-source": "{out}/key.c",
        "python-source": "{out}/key.py", "text": "{out}/key.txt"})",
     "", "", Same::form},
    {"wireless signature", "wireless-sign",
     R"("values": {"binary": "stack.bin", "key": "{key:rsa}", "out": "{out}/rsa.bin"}, "proof": {"public": "rsa-pub.pem"})",
     R"("rsa": {"file": "rsa.pem"})"},
    {"wireless signature with the user's key", "wireless-sign",
     R"("values": {"binary": "stack.bin", "key": "{column:key}", "out": "{out}/rsa.bin"},
        "proof": {"public": "rsa-pub.pem"})",
     "", "--column key=rsa.pem"},
};

class Steps : public testing::Test {
  protected:
    void SetUp() override {
        const Ended made = runProgram(QStringLiteral("sh"),
                                      {QStringLiteral("-c"), QString::fromLatin1(makeSources), QStringLiteral("sh"),
                                       QStringLiteral(QVORA_EXAMPLES), QStringLiteral(QVORA_TOOL)},
                                      kit_.folder.path(""));
        ASSERT_EQ(made.status, 0) << made.errors.constData();
    }

    /// The values of the device in the options of qvora-produce.
    static QStringList columnValues(const ProductionJob& job, const QString& options) {
        QStringList values;
        for (const QString& column : job.columns) {
            values.append(options.section(QStringLiteral("--column %1=").arg(column), 1, 1).section(u' ', 0, 0));
        }
        return values;
    }

    /// The nonce that the ledger gave to a step. Tries counters until the IV is the one in the record.
    QByteArray nonceOf(const Step& step, const QJsonObject& line) const {
        const QByteArray part = QByteArray::fromHex(
            line[QLatin1String("steps")][0][QLatin1String("ivs")][0][QLatin1String("part")].toString().toLatin1());
        const QByteArray epoch =
            QByteArray::fromStdString(kit_.ledger("SELECT hex(id) FROM epoch ORDER BY number DESC LIMIT 1"));
        for (quint64 counter = 0; counter < 100000; ++counter) {
            const quint64 bigEndian = qToBigEndian(counter);
            const QByteArray nonce =
                QByteArray::fromHex(epoch) +
                QByteArray(reinterpret_cast<const char*>(&bigEndian), sizeof bigEndian).last(nonceSize(step) - 8);
            QByteArray own;
            if (ivPart(ivRule(*step.row), nonce, own) && own == part) {
                return nonce;
            }
        }
        return {};
    }

    /// Runs the tool with the inputs of the device that the record's last line is about. The outputs are in "tool".
    void runTool(const Case& one, const QString& serial, QStringList& outputs) {
        ProductionJob job;
        QString fault;
        ASSERT_TRUE(readProductionJob(kit_.folder.path("job.json"), job, fault)) << fault.toStdString();
        const Step& step = job.steps.constFirst();
        Device device;
        device.serial = serial;
        device.values = columnValues(job, QString::fromLatin1(one.options));
        device.outFolder = kit_.folder.path("tool");
        device.noncePaths.append(QString());
        if (usesNonce(step)) {
            device.noncePaths.first() = kit_.secret("handed-out", nonceOf(step, kit_.lines("device").constLast()));
        }
        for (const KeySource& source : job.keys) {
            device.keyPaths.insert(source.name, source.path);
        }
        FilledStep filled;
        ASSERT_TRUE(fillIn(job, step, device, filled, fault)) << fault.toStdString();
        QDir(device.outFolder).removeRecursively();
        outputs = outputPaths(step, filled);
        for (const QString& output : std::as_const(outputs)) {
            QDir().mkpath(QFileInfo(output).path());
        }
        for (const Copy& copy : filled.copies) {
            QDir().mkpath(QFileInfo(copy.to).path());
            ASSERT_TRUE(QFile::copy(copy.from, copy.to)) << copy.from.toStdString();
        }
        outputs = outputPaths(step, filled);  // a copied template names its own
        const Ended ended = runProgram(tool_, jobs::argumentsOf(*step.row, filled.values), kit_.folder.path(""));
        ASSERT_EQ(ended.status, 0) << ended.output.constData();
    }

    /// Compares the folder of the device with that of the tool.
    void compare(const Case& one, const QString& serial) {
        QStringList outputs;
        runTool(one, serial, outputs);
        ASSERT_FALSE(outputs.isEmpty());
        const QString own = kit_.folder.path("out/") + serial + u'/';
        const QString tool = kit_.folder.path("tool") + u'/';
        for (const QString& output : std::as_const(outputs)) {
            EXPECT_TRUE(QFileInfo::exists(own + QDir::cleanPath(output).remove(tool))) << output.toStdString();
        }
        // The public key beside a signing key is in the folder of that key.
        const QString names = QString::fromStdString(kit_.files("tool"));
        EXPECT_EQ(kit_.files(("out/" + serial.toUtf8()).constData()), names.toStdString());
        for (const QString& name : names.split(u' ')) {
            const QByteArray expected = fileContent(tool + name);
            const QByteArray found = fileContent(own + name);
            qsizetype different = qAbs(found.size() - expected.size());
            for (qsizetype i = 0; i < qMin(found.size(), expected.size()); ++i) {
                different += found.at(i) != expected.at(i) ? 1 : 0;
            }
            EXPECT_FALSE(expected.isEmpty()) << name.toStdString();
            if (name == QLatin1String("log.txt")) {  // it has the paths
                EXPECT_TRUE(found.contains("generation success")) << found.constData();
            } else if (one.same == Same::form) {
                EXPECT_NEAR(static_cast<double>(found.size()), static_cast<double>(expected.size()), 60)
                    << name.toStdString();
                EXPECT_GT(different, 0) << name.toStdString() << " has a new key";
            } else {
                EXPECT_LE(different, one.same == Same::bytes ? 0 : mostOfSignature) << name.toStdString();
            }
        }
    }

    /// Runs a case as a production and as a command, and compares them.
    void check(const Case& one, const QByteArray& serial, const QString& runner = QStringLiteral(QVORA_PRODUCE)) {
        SCOPED_TRACE(one.name);
        kit_.writeJob("job.json", QByteArray(R"({"job": ")") + one.job + "\", " + one.step + '}', one.keys,
                      R"("allowDevelopmentKeys": true, )");
        const QString words = QStringLiteral("one job.json --serial %1 --ledger line.db -o out %2")
                                  .arg(QLatin1String(serial), QLatin1String(one.options));
        const Ended made = runProgram(runner, words.split(u' ', Qt::SkipEmptyParts), kit_.folder.path(""));
        EXPECT_EQ(made.status, 0) << made.faults() << '\n' << made.output.constData();
        if (made.status == 0) {
            compare(one, QString::fromLatin1(serial));
        }
    }

    const ProductionKit kit_;
    QString tool_ = QStringLiteral(QVORA_TOOL);
};

TEST_F(Steps, WriteWhatTheToolWrites) {
    std::set<std::string> seen = {"imgtool-image", "personalization", "card"};  // tested elsewhere
    for (const Case& one : cases) {
        seen.insert(one.job);
        check(one, QByteArray("S-") + QByteArray::number(&one - cases.data()));
    }
    for (const jobs::JobRow& job : jobs::jobTable()) {
        EXPECT_EQ(seen.contains(job.id), proofLimit(job) != ProofLimit::never) << job.id;
    }
    // A checkpoint covers them all, and no step left a name of a key.
    const Ended verified =
        kit_.produce(QStringLiteral("record verify out/record.jsonl --public line.db.station.pem.pub"));
    EXPECT_EQ(verified.status, 0) << verified.errors.constData();
    EXPECT_EQ(kit_.files("out/.qvora"), "station/head.json");
}

TEST_F(Steps, FailADeviceWhoseFileBreaksThePolicy) {
    const auto make = [this](const char* policy, const char* serial) {
        kit_.folder.write("policy.json", policy);
        kit_.writeJob("job.json", ProductionKit::secretsStep, ProductionKit::imageKey, R"("policy": "policy.json", )");
        return kit_.one(serial);
    };
    EXPECT_EQ(make(R"({"version": 1, "formats": ["provisioningImage"], "proofs": ["tag"]})", "S-1").status, 0);
    const Ended refused = make(R"({"version": 1, "formats": ["provisioningImage"], "largestSize": 40})", "S-2");
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.faults().find("are bad; policy: it has 226 bytes, more than 40"), std::string::npos)
        << refused.faults();
    EXPECT_EQ(kit_.files("out/S-1"), "secrets.pvs");
    EXPECT_EQ(kit_.files("out/S-2"), "");
}

TEST_F(Steps, WriteTheImagesOfImgtool) {
    if (QStandardPaths::findExecutable(QStringLiteral("imgtool")).isEmpty()) {
        GTEST_SKIP() << "imgtool is not installed";
    }
    check({"image of imgtool", "imgtool-image",
           R"("values": {"template": "{out}/image.xml"}, "copies": [
              {"from": "image.xml", "to": "{out}/image.xml"},
              {"from": "provisioning.xml", "to": "{out}/provisioning.xml"},
              {"from": "blink.hex", "to": "{out}/blink.hex"},
              {"from": "keys/authentication.pem", "to": "{out}/keys/authentication.pem"},
              {"from": "keys/authentication_pub.pem", "to": "{out}/keys/authentication_pub.pem"}],
              "proof": {"public": "keys/authentication_pub.pem"})",
           "", "", Same::signature},
          "S-1");
}

// The keys of the card are in a folder beside the program, so the runner and the tool are copied to one.
TEST_F(Steps, EncryptPersonalizationData) {
    const QString folder = kit_.folder.path("");
    const Ended made = runProgram(QStringLiteral("sh"),
                                  {QStringLiteral("-c"), QStringLiteral(R"(
            set -e; umask 077; mkdir Keys; cp "$0" "$1" .
            for name in perso card; do
                openssl ecparam -name prime256v1 -genkey -noout -out $name.pem
                openssl pkey -in $name.pem -pubout -out ${name}_pub.pem
            done
            cp perso.pem Keys/perso_private.pem; cp card_pub.pem Keys/card_public.pem)"),
                                   QStringLiteral(QVORA_PRODUCE), QStringLiteral(QVORA_TOOL)},
                                  folder);
    ASSERT_EQ(made.status, 0) << made.errors.constData();
    tool_ = folder + QStringLiteral("/QVORASealedBundleBuilder_CLI");
    for (const char* const data : {"card.bin", "{key:data}"}) {
        const QByteArray step =
            QByteArray(R"("values": {"data": ")") + data +
            R"(", "out": "{out}/card.enc.bin"}, "proof": {"private": "card.pem", "public": "perso_pub.pem"})";
        check({data, "personalization", step.constData(), *data == '{' ? R"("data": {"file": "card.bin"})" : ""},
              *data == '{' ? "S-1" : "S-2", folder + QStringLiteral("/qvora-produce"));
    }
}

}  // namespace

}  // namespace produce
