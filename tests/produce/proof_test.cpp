// The tool makes the files of each job, and the opener proves them with the derived arguments.

#include "produce/proof.h"
#include "jobs/commandLine.h"
#include "produce/IvRule.h"
#include "produce/fillIn.h"
#include "produce/readProductionJob.h"
#include "tests/support/TempFolder.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

#include <set>

namespace produce {

namespace {

struct Ended {
    int status = -1;
    QByteArray output;
};

Ended run(const char* program, const QStringList& arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QString::fromLatin1(program), arguments);
    const bool isDone = process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit;
    return {isDone ? process.exitCode() : -1, process.readAll()};
}

/// Example files, with sources whose every byte goes into an image.
void makeSources(const TempFolder& folder) {
    const QString script = QStringLiteral(R"(
        set -e
        cp "$1"/firmware/* "$1"/provisioning/* "$1"/templates/* .
        cp -r "$1/backup" .
        mkdir -p keys
        openssl ecparam -name prime256v1 -genkey -noout -out private.pem
        openssl ecparam -name prime256v1 -genkey -noout | openssl pkcs8 -topk8 -nocrypt -out keys/authentication.pem
        openssl pkey -in keys/authentication.pem -pubout -out keys/authentication_pub.pem
        openssl genrsa -traditional -out rsa.pem 2048 2>/dev/null
        openssl rsa -in rsa.pem -pubout -out rsa-pub.pem 2>/dev/null
        head -c 4096 /dev/zero | openssl enc -aes-128-ctr -K 00112233445566778899aabbccddeeff -iv 0 2>/dev/null >app.bin
        { head -c 1020 app.bin; printf '\221\051\067\043'; } >stack.bin
        openssl rand 12 >nonce12
        openssl rand 16 >nonce16
        mkdir out
    )");
    QProcess shell;
    shell.setWorkingDirectory(folder.path(""));
    shell.start(QStringLiteral("sh"),
                {QStringLiteral("-c"), script, QStringLiteral("sh"), QStringLiteral(QVORA_EXAMPLES)});
    ASSERT_TRUE(shell.waitForFinished(-1) && shell.exitCode() == 0) << shell.readAllStandardError().constData();
}

struct Case {
    const char* job;
    const char* step;    ///< the members of the step after its job
    const char* source;  ///< a change of this file must be found; null: none goes into the output unchanged
    const char* proof;   ///< what the verdict names
    int status = 0;
};

const std::vector<Case> cases = {
    {"install-image",
     R"("values": {"device": "0x455", "firmware": [{"path": "blink.elf"}, {"path": "app.bin", "beside": "0x20000000"}],
        "key": "{key:image}", "nonce": "{nonce}", "version": "1", "option-bytes": "option-bytes.csv", "out": "{out}/a.tbi"})",
     "app.bin", "proven by comparison and tag"},
    {"install-image",
     R"("name": "decimal", "values": {"device": "0x455", "firmware": [{"path": "app.bin", "beside": "134217728"}],
        "external": "stack.bin", "external-address": "0xB0000000", "external-region": "0", "external-mode": "1",
        "external-key-address": "0x04010000",
        "more-external": [{"path": "app.bin", "beside": " 0xB0100000  1 1 0x04010020 "}],
        "key": "{key:image}", "nonce": "{nonce}", "version": "1", "out": "{out}/x.tbix"})",
     "stack.bin", "proven by comparison and tag"},
    {"update-image",
     R"("values": {"firmware": "app.bin", "key": "{key:image}", "nonce": "{nonce}", "version": "2",
        "header": "{out}/a.tbuh", "image": "{out}/a.tbu"})",
     "app.bin", "proven by comparison and tag"},
    {"sign",
     R"("values": {"binary": "stack.bin", "key": "{key:sign}", "version": "1", "out": "{out}/signed.bin"},
        "proof": {"public": "private_pub.bin"})",
     "stack.bin", "proven by comparison and signature"},
    {"payload",
     R"("values": {"secrets": "secrets.bin", "public-key": "oem-public.pem", "key": "{key:image}", "nonce": "{nonce}",
        "out": "{out}/payload.pvs"})",
     "secrets.bin", "proven by comparison and tag"},
    {"backup-image", R"("values": {"description": "backup/backup.json", "out": "{out}/backup.bin"})", nullptr,
     "nothing in the format protects it", 2},
    {"provisioning-image",
     R"("values": {"secrets": "secrets.bin", "backup": [{"path": "{out}/backup.bin", "beside": "0x50000000"}],
        "key": "{key:image}", "nonce": "{nonce}", "version": "1", "out": "{out}/secrets.pvs"})",
     "secrets.bin", "proven by comparison and tag"},
    {"provisioning-file",
     R"("values": {"template": "{out}/provisioning.xml"}, "copies": [
        {"from": "provisioning.xml", "to": "{out}/provisioning.xml", "expand": true},
        {"from": "keys/authentication.pem", "to": "{out}/keys/authentication.pem"},
        {"from": "keys/authentication_pub.pem", "to": "{out}/keys/authentication_pub.pem"}])",
     nullptr, "proven by digest"},
    {"external-memory",
     R"("values": {"application": "app.bin", "address": "B0000000", "key": "{key:image}", "mode": "2", "folder": "{out}"})",
     "app.bin", "proven by comparison"},
    {"wireless-keys",
     R"("values": {"private-key": "{out}/rsa.pem", "public-key": "{out}/rsa-pub.pem", "c-source": "{out}/key.c",
        "python-source": "{out}/key.py", "text": "{out}/key.txt"})",
     "out/rsa-pub.pem", "proven by comparison"},
    {"wireless-sign",
     R"("values": {"binary": "stack.bin", "key": "{key:rsa}", "out": "{out}/rsa.bin"}, "proof": {"public": "rsa-pub.pem"})",
     "stack.bin", "proven by comparison and signature"},
};

/// Jobs whose outputs can't be made here: imgtool may be missing, the private key of a card isn't known, and a card
/// isn't a file.
const std::set<QByteArray> notMade = {"imgtool-image", "personalization", "card"};

class Proof : public testing::Test {
  protected:
    void SetUp() override {
        makeSources(folder_);
        QByteArrayList steps;
        for (const Case& one : cases) {
            steps.append(QByteArray("{\"job\": \"") + one.job + "\", " + one.step + '}');
        }
        const QByteArray text = R"({"version": 1, "product": "p", "keys": {"image": {"file": "key.bin"}, "rsa": {"file":
            "rsa.pem"}, "sign": {"file": "private.pem"}}, "steps": [)" +
                                steps.join(",\n") + "]}";
        QString fault;
        ASSERT_TRUE(readProductionJob(folder_.write("job.json", text), job_, fault)) << fault.toStdString();
        device_.serial = QStringLiteral("A-1");
        device_.outFolder = folder_.path("out");
        for (const Step& step : job_.steps) {
            device_.noncePaths.append(folder_.path(nonceSize(step) == 16 ? "nonce16" : "nonce12"));
        }
        for (const KeySource& key : job_.keys) {
            device_.keyPaths.insert(key.name, key.path);
        }
        ASSERT_TRUE(fillInAll(job_, device_, filled_, fault)) << fault.toStdString();
        for (qsizetype i = 0; i < filled_.size(); ++i) {
            make(job_.steps.at(i), filled_.at(i));
        }
    }

    void make(const Step& step, const FilledStep& filled) {
        for (const Copy& copy : filled.copies) {
            QDir(device_.outFolder).mkpath(QFileInfo(copy.to).path());
            ASSERT_TRUE(QFile::copy(copy.from, copy.to)) << copy.from.toStdString();
        }
        const Ended made = run(QVORA_TOOL, jobs::argumentsOf(*step.row, filled.values));
        ASSERT_EQ(made.status, 0) << step.name.toStdString() << made.output.constData();
        for (const QString& output : outputPaths(step, filled)) {
            EXPECT_TRUE(QFile::exists(output)) << output.toStdString();
            EXPECT_TRUE(isInFolder(device_.outFolder, QDir::cleanPath(output))) << output.toStdString();
        }
    }

    void flip(const QString& path) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite)) << path.toStdString();
        QByteArray bytes = file.readAll();
        bytes[bytes.size() / 2] = static_cast<char>(bytes.at(bytes.size() / 2) ^ 1);
        file.seek(0);
        file.write(bytes);
    }

    const TempFolder folder_;
    ProductionJob job_;
    Device device_;
    QList<FilledStep> filled_;
};

TEST_F(Proof, ProvesWhatTheToolMakes) {
    std::set<QByteArray> seen = notMade;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const Case& one = cases.at(i);
        const auto index = static_cast<qsizetype>(i);
        const QStringList arguments = proofArguments(job_.steps.at(index), filled_.at(index));
        const std::string line = arguments.join(u' ').toStdString();
        const Ended proven = run(QVORA_INSPECT, arguments);
        EXPECT_EQ(proven.status, one.status) << line << '\n' << proven.output.constData();
        EXPECT_TRUE(proven.output.contains(one.proof)) << line << '\n' << proven.output.constData();
        seen.insert(one.job);

        if (one.source != nullptr) {
            flip(folder_.path(one.source));
            EXPECT_NE(run(QVORA_INSPECT, arguments).status, 0) << "a changed source: " << line;
            flip(folder_.path(one.source));
        }
        const QString output = arguments.constLast();
        flip(output);
        EXPECT_NE(run(QVORA_INSPECT, arguments).status, 0) << "a changed output: " << line;
        flip(output);
        EXPECT_EQ(run(QVORA_INSPECT, arguments).status, one.status) << "the flips are undone: " << line;
    }
    for (const jobs::JobRow& job : jobs::jobTable()) {
        EXPECT_EQ(seen.contains(job.id), proofLimit(job) != ProofLimit::never) << job.id;
    }
}

TEST_F(Proof, ReplacesAndLeavesOutDerivedOptions) {
    Step step = job_.steps.at(0);
    const FilledStep filled = filled_.at(0);
    const QString start = QStringLiteral("verify --against --as installImage --key ") + folder_.path("key.bin");
    const QString end =
        QStringLiteral(" --option-bytes %1 %2").arg(folder_.path("option-bytes.csv"), folder_.path("out/a.tbi"));
    const QString firmware =
        QStringLiteral(" --firmware %1 --firmware %2@20000000").arg(folder_.path("blink.elf"), folder_.path("app.bin"));
    EXPECT_EQ(proofArguments(step, filled).join(u' '),
              start + QLatin1String(" --nonce ") + folder_.path("nonce12") + firmware + end);
    step.withoutProof = {QStringLiteral("nonce"), QStringLiteral("firmware")};
    EXPECT_EQ(proofArguments(step, filled).join(u' '), start + end);
    FilledStep more = filled;
    more.proof = {{QStringLiteral("key"), QStringLiteral("/k"), true}};
    step.derivesProof = false;
    EXPECT_EQ(proofArguments(step, more).join(u' '), QStringLiteral("verify --key /k ") + folder_.path("out/a.tbi"));
}

// The IV rule reads the nonce as the tool does: the base IV is at offset 12 of an image, the nonce of a payload at 16.
TEST_F(Proof, FindsThePartOfTheIvInTheImages) {
    struct Place {
        const char* file;
        IvRule rule;
        const char* nonce;
        int offset;
    };
    for (const Place& place :
         {Place{"out/a.tbi", IvRule::base, "nonce12", 12}, Place{"out/x.tbix", IvRule::base, "nonce12", 12},
          Place{"out/secrets.pvs", IvRule::base, "nonce12", 12},
          Place{"out/payload.pvs", IvRule::whole, "nonce16", 16}}) {
        QByteArray part;
        ASSERT_TRUE(ivPart(place.rule, folder_.read(place.nonce), part)) << place.file;
        EXPECT_EQ(part.size(), place.rule == IvRule::base ? 8 : 16);
        EXPECT_EQ(folder_.read(place.file).mid(place.offset, part.size()).toHex(), part.toHex()) << place.file;
    }
    QByteArray part;
    ASSERT_TRUE(ivPart(IvRule::base, folder_.read("nonce12"), part));
    EXPECT_TRUE(folder_.read("out/a.tbuh").contains(part));
    EXPECT_FALSE(ivPart(IvRule::whole, QByteArray(12, 'x'), part));
    EXPECT_FALSE(ivPart(IvRule::base, {}, part));
    EXPECT_FALSE(ivPart(IvRule::none, QByteArray(12, 'x'), part));
    for (const jobs::JobRow& job : jobs::jobTable()) {
        const bool hasNonce = std::any_of(job.rows.begin(), job.rows.end(),
                                          [](const jobs::FieldRow& row) { return qstrcmp(row.id, "nonce") == 0; });
        EXPECT_EQ(ivRule(job) != IvRule::none, hasNonce && qstrcmp(job.id, "card") != 0) << job.id;
    }
}

}  // namespace

}  // namespace produce
