#include "tests/produce/ProductionKit.h"

#include "tests/support/outsideTool.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

constexpr QFile::Permissions ownerOnly = QFile::ReadOwner | QFile::WriteOwner;
constexpr int longestRun = 60000;  // milliseconds

}  // namespace

const QByteArray ProductionKit::imageKey = R"("image": {"file": "image.bin"})";
const QByteArray ProductionKit::secretsStep =
    R"({"name": "secrets", "job": "provisioning-image", "values": {"secrets": "{column:secrets}", "key": "{key:image}",
        "nonce": "{nonce}", "out": "{out}/secrets.pvs"}})";
const QByteArray ProductionKit::key = QByteArray::fromHex("7f1d0a9b3358c2e4419f6604bd27a18c");

std::string Ended::faults() const {
    QByteArray text = errors;
    text.replace("qvora-produce: ", "").replace(folder.toUtf8() + '/', "");
    return text.trimmed().replace('\n', " | ").toStdString();
}

Ended runProgram(const QString& program, const QStringList& arguments, const QString& folder, const QByteArray& input,
                 const std::function<void()>& prepare) {
    QProcess process;
    if (prepare) {
        process.setChildProcessModifier(prepare);
    }
    process.setWorkingDirectory(folder);
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    Ended ended;
    ended.folder = folder;
    if (process.waitForFinished(longestRun) && process.exitStatus() == QProcess::NormalExit) {
        ended.status = process.exitCode();
    }
    ended.output = process.readAllStandardOutput();
    ended.errors = process.readAllStandardError();
    return ended;
}

ProductionKit::ProductionKit() {
    secret("image.bin", key);
    for (char number = '1'; number <= '9'; ++number) {
        const QByteArray name = QByteArray("s") + number + ".bin";
        secret(name.constData(), QByteArray("secrets of device ") + number + QByteArray(133, number));
    }
    writeJob("job.json", secretsStep);
    const Ended made = produce(QStringLiteral("ledger init --ledger line.db"));
    EXPECT_EQ(made.status, 0) << made.errors.constData();
}

Ended ProductionKit::produce(const QString& words, const QByteArray& input,
                             const std::function<void()>& prepare) const {
    return runProgram(QStringLiteral(QVORA_PRODUCE), words.split(u' ', Qt::SkipEmptyParts), folder.path(""), input,
                      prepare);
}

Ended ProductionKit::one(const char* serial, const char* more, const char* job,
                         const std::function<void()>& prepare) const {
    return produce(QStringLiteral("one %1 --serial %2 --ledger line.db -o out %3")
                       .arg(QLatin1String(job), QLatin1String(serial), QLatin1String(more)),
                   {}, prepare);
}

QString ProductionKit::secret(const char* name, const QByteArray& content) const {
    const QString path = folder.write(name, content);
    QFile::setPermissions(path, ownerOnly);
    return path;
}

void ProductionKit::writeJob(const char* name, const QByteArray& steps, const QByteArray& keys,
                             const QByteArray& more) const {
    folder.write(name, R"({"version": 1, "product": "meter-a", "keys": {)" + keys + "}, " + more + R"("steps": [)" +
                           steps + "]}\n");
}

QList<QJsonObject> ProductionKit::lines(const char* kind) const {
    QList<QJsonObject> found;
    for (const QByteArray& line : folder.read("out/record.jsonl").split('\n')) {
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        const QString own = object.value(QLatin1String("kind")).toString();
        if (!own.isEmpty() && (*kind == '\0' || own == QLatin1String(kind))) {
            found.append(object);
        }
    }
    return found;
}

std::string ProductionKit::files(const char* below) const {
    const QDir top(folder.path(below));
    QStringList names;
    QDirIterator found(top.path(), QDir::Files | QDir::System | QDir::Hidden, QDirIterator::Subdirectories);
    while (found.hasNext()) {
        names.append(top.relativeFilePath(found.next()));
    }
    names.sort();
    return names.join(u' ').toStdString();
}

std::string ProductionKit::ledger(const QByteArray& query) const {
    const QString place = QStringLiteral("file:%1?mode=ro").arg(folder.path("line.db"));
    const QByteArray rows = outsideTool(QStringLiteral("sqlite3"), {place, QString::fromUtf8(query)});
    return rows.trimmed().replace('\n', ' ').toStdString();
}

void ProductionKit::expectSound() const {
    const Ended checked = produce(QStringLiteral("ledger check --ledger line.db"));
    EXPECT_EQ(checked.status, 0) << checked.errors.constData();
    const Ended verified = produce(QStringLiteral("record verify out/record.jsonl --public line.db.station.pem.pub"));
    EXPECT_EQ(verified.status, 0) << verified.errors.constData();
    EXPECT_EQ(files("out/.qvora/station/making"), "");
    // The last attempt of each device counts. A recalled one is in void/.
    QHash<QString, QJsonObject> last;
    for (const QJsonObject& line : lines()) {
        const QString serial = line.value(QLatin1String("serial")).toString();
        if (!serial.isEmpty()) {
            last.insert(serial, line);
        }
    }
    for (const QJsonObject& line : std::as_const(last)) {
        const QByteArray own = "out/" + line.value(QLatin1String("serial")).toString().toUtf8();
        QStringList names;
        for (const QJsonValue& step : line.value(QLatin1String("steps")).toArray()) {
            for (const QJsonValue& output : step[QLatin1String("outputs")].toArray()) {
                const QString name = output[QLatin1String("name")].toString();
                const QByteArray bytes = folder.read((own + '/' + name.toUtf8()).constData());
                if (line.value(QLatin1String("verdict")).toString() == QLatin1String("proven")) {
                    names.append(name);
                    EXPECT_EQ(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex(),
                              output[QLatin1String("sha256")].toString().toLatin1())
                        << own.constData();
                    EXPECT_EQ(bytes.size(), output[QLatin1String("size")].toInteger()) << own.constData();
                }
            }
        }
        names.sort();
        if (line.value(QLatin1String("kind")).toString() == QLatin1String("device")) {
            EXPECT_EQ(files(own.constData()), names.join(u' ').toStdString()) << own.constData();
        }
    }
}
