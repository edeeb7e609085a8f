#include "produce/worker.h"

#include "Preparation/primitives/AesGcm.h"
#include "Preparation/primitives/P256Key.h"
#include "Preparation/primitives/Sha256.h"
#include "Preparation/primitives/ecdsa.h"
#include "Preparation/primitives/keyPem.h"
#include "cli/CommandLineTool.h"
#include "files/guardProcess.h"
#include "files/readWhole.h"
#include "files/unfinishedFiles.h"
#include "files/wipe.h"
#include "jobs/commandLine.h"
#include "preparation-interface/publicKeyPath.h"
#include "produce/MemoryFiles.h"
#include "produce/Prover.h"
#include "produce/childProcess.h"
#include "produce/fileDigest.h"
#include "produce/fillIn.h"
#include "produce/messages.h"
#include "produce/proof.h"

#include <QCoreApplication>
#include <QFile>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <vector>

namespace produce {

namespace {

using Clock = std::chrono::steady_clock;

constexpr qint64 largestCopy = qint64{64} << 20;
constexpr qsizetype longestReason = 500;
constexpr char memoryFolder[] = "/proc/self/fd/";

QString systemReason() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

bool readCopied(const QString& path, QByteArray& bytes, QString& reason) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) || !readUpTo(file, largestCopy, bytes)) {
        reason = QStringLiteral("%1 can't be copied: %2")
                     .arg(path, file.isOpen() ? QStringLiteral("it is too large") : file.errorString());
        return false;
    }
    return true;
}

bool writeCopy(const QString& path, QByteArrayView bytes, QString& reason) {
    const FileHandle file(open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file.isOpen() || !file.write(bytes)) {
        reason = QStringLiteral("%1 can't be written: %2").arg(path, systemReason());
        return false;
    }
    return true;
}

/// Makes the copies of a step. They have mode 0600, since a template may have passwords in it.
bool makeCopies(const ProductionJob& job, const FilledStep& step, const Device& device, QString& reason) {
    for (const Copy& copy : step.copies) {
        QByteArray bytes;
        const WipeOnExit wipe(bytes);
        if (!readCopied(copy.from, bytes, reason)) {
            return false;
        }
        if (copy.expand) {
            QByteArray expanded;
            if (!expandText(job, device, bytes, expanded, reason)) {
                return false;
            }
            bytes = expanded;
        }
        if (!writeCopy(copy.to, bytes, reason)) {
            return false;
        }
    }
    return true;
}

/// Runs the tool as its main function does.
int runTool(const QStringList& arguments) {
    guardProcess();
    QList<QByteArray> words = {QByteArrayLiteral("QVORASealedBundleBuilder_CLI")};
    for (const QString& argument : arguments) {
        words.append(argument.toUtf8());
    }
    std::vector<char*> pointers;
    for (QByteArray& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    cli::CommandLineTool tool;
    return tool.run(static_cast<int>(words.size()), pointers.data());
}

/// The last error in the output of the tool, or its last line.
QString errorIn(const QByteArray& output) {
    const QStringList lines = QString::fromUtf8(output).split(u'\n', Qt::SkipEmptyParts);
    QString found = lines.isEmpty() ? QString() : lines.constLast().trimmed();
    for (const QString& line : lines) {
        if (line.startsWith(QLatin1String("Error: "))) {
            found = line.mid(7).trimmed();
        }
    }
    return found.left(longestReason);
}

QString reasonOf(const ChildEnd& end, int timeoutSeconds) {
    switch (end.kind) {
        case ChildEnd::Kind::exited:
            return QStringLiteral("status %1: %2").arg(end.code).arg(errorIn(end.output));
        case ChildEnd::Kind::signalled:
            return QStringLiteral("ended by signal %1").arg(end.code);
        case ChildEnd::Kind::timedOut:
            return QStringLiteral("not finished within %1 s").arg(timeoutSeconds);
        case ChildEnd::Kind::notStarted:
            break;
    }
    return QStringLiteral("not started: %1").arg(QString::fromLocal8Bit(std::strerror(end.code)));
}

/// Signing writes the public key beside the private one, which isn't possible for a key in memory. While this object
/// exists, such a key has a name in the device's folder.
class PrivateKeyLink {
  public:
    PrivateKeyLink(const Step& step, const QString& folder, FilledStep& filled) {
        const QString field = QStringLiteral("key");
        const QString key = filled.values.value(field).value(0);
        if (QLatin1String(step.row->id) == QLatin1String("sign") && key.startsWith(QLatin1String(memoryFolder))) {
            path_ = folder + QStringLiteral("/private-key");
            if (QFile::link(key, path_)) {
                filled.values.insert(field, {path_});
            }
        }
    }
    ~PrivateKeyLink() {
        if (!path_.isEmpty()) {
            QFile::remove(path_);
            QFile::remove(publicKeyPath(path_));
        }
    }
    PrivateKeyLink(const PrivateKeyLink&) = delete;
    PrivateKeyLink& operator=(const PrivateKeyLink&) = delete;

  private:
    QString path_;
};

/// Makes devices with the steps of a job.
class Maker {
  public:
    explicit Maker(const Making& making) : making_(making) {}

    [[nodiscard]] DeviceResult make(const DeviceTask& task) {
        DeviceResult result;
        result.id = task.id;
        MemoryFiles memory;
        StepResult prepared;
        if (mkdir(QFile::encodeName(task.folder).constData(), 0777) != 0) {
            prepared.reason = QStringLiteral("the folder %1 can't be made: %2").arg(task.folder, systemReason());
        } else if (!memory.make(task.memory)) {
            prepared.reason = QStringLiteral("there is no memory for a file: %1").arg(systemReason());
        }
        if (!prepared.reason.isEmpty()) {
            result.steps.append(prepared);
            return result;
        }
        const Device device{task.serial, task.values, task.folder, task.noncePaths, making_.keyPaths};
        for (qsizetype i = 0; i < making_.job.steps.size(); ++i) {
            result.steps.append(makeStep(task, device, i));
            if (!result.steps.constLast().isProven) {
                return result;
            }
        }
        result.isProven = true;
        return result;
    }

  private:
    StepResult makeStep(const DeviceTask& task, const Device& device, qsizetype index) {
        const Step& step = making_.job.steps.at(index);
        StepResult result;
        result.name = step.name;
        const Clock::time_point start = Clock::now();
        FilledStep filled;
        if (fillIn(making_.job, step, device, filled, result.reason)) {
            for (const FieldPath& field : task.fieldPaths) {
                if (field.step == index) {
                    filled.values.insert(field.field, {field.path});
                }
            }
            makeFilled(task, step, filled, device, result);
        }
        result.milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
        return result;
    }

    void makeFilled(const DeviceTask& task, const Step& step, FilledStep& filled, const Device& device,
                    StepResult& result) {
        if (!makeCopies(making_.job, filled, device, result.reason) || !takeDigests(step, filled, result)) {
            return;
        }
        const PrivateKeyLink link(step, device.outFolder, filled);
        const QStringList outputs = outputPaths(step, filled);  // templates name theirs, and a step may change them
        for (const QString& output : outputs) {
            if (!isInFolder(device.outFolder, output)) {
                result.reason = QStringLiteral("the output %1 isn't in the device's folder").arg(output);
                return;
            }
        }
        const ChildEnd end =
            runInChild([&] { return runTool(jobs::argumentsOf(*step.row, filled.values)); }, step.timeoutSeconds);
        if (end.kind != ChildEnd::Kind::exited || end.code != 0) {
            result.reason = reasonOf(end, step.timeoutSeconds);
            return;
        }
        prover_.prove({proofArguments(step, filled), outputs, task.memory}, step.timeoutSeconds, result);
        if (result.isProven) {
            checkInputs(device, result);
        }
    }

    bool takeDigests(const Step& step, const FilledStep& filled, StepResult& result) {
        for (const InputPath& input : inputPaths(step, filled)) {
            FileDigest digest{input.field, input.path, input.isSecret || input.isKey, 0, {}};
            if (input.path.startsWith(QLatin1String(memoryFolder))) {
                continue;  // the runner has read it
            }
            if (!digests_.digest(input.path, digest)) {
                result.reason = QStringLiteral("the input %1 can't be read: %2").arg(input.path, systemReason());
                return false;
            }
            result.inputs.append(digest);
        }
        return true;
    }

    /// The record names the digests of the inputs, so they must not change while the step runs. A step may change the
    /// copies in the device's own folder.
    void checkInputs(const Device& device, StepResult& result) const {
        for (const FileDigest& input : result.inputs) {
            if (!isInFolder(device.outFolder, input.path) && !digests_.isUnchanged(input.path)) {
                result.isProven = false;
                result.reason = QStringLiteral("the input %1 changed during the step").arg(input.path);
            }
        }
    }

    const Making& making_;
    Prover prover_;
    DigestCache digests_;
};

/// Lets OpenSSL load what most steps use, since a child that finds it loaded needs a third less time.
void warmOpenssl() {
    Sha256Digest digest{};
    QByteArray tag(AesGcm::tagSize, '\0');
    QByteArray signature;
    QByteArray privatePem;
    QByteArray publicPem;
    AesGcm cipher;
    const P256Key key = makeP256Key();
    static_cast<void>(hmacSha256(tag, tag, digest));
    static_cast<void>(cipher.setKey(tag) && cipher.start(tag) && cipher.finish(tag.data()));
    static_cast<void>(privateKeyToPem(key.get(), privatePem) && publicKeyToPem(key.get(), publicPem));
    const KeyPointer privateKey = privateKeyFromPem(privatePem);
    const KeyPointer publicKey = publicKeyFromPem(publicPem);
    const QByteArrayView hash(digest.data(), static_cast<qsizetype>(digest.size()));
    static_cast<void>(signEcdsa(privateKey.get(), hash, signature) &&
                      verifyEcdsa(publicKey.get(), hash, signature) == EcdsaCheck::holds);
}

/// Does once what every step would do: the children inherit the result.
void warmUp() {
    char name[] = "qvora-produce";
    char* words[] = {name, nullptr};
    int count = 1;
    const QCoreApplication application(count, words);
    warmOpenssl();
}

}  // namespace

void runWorker(const FileHandle& socket, const Making& making, pid_t runner) {
    for (const int signal : endingSignals) {
        std::signal(signal, SIG_IGN);
    }
    std::signal(SIGPIPE, SIG_IGN);
    wipeFreedOpensslMemory();
    warmUp();
    Maker maker(making);
    QByteArray bytes;
    DeviceTask task;
    while (endWithParent(runner) && receive(socket, bytes, task)) {
        const DeviceResult result = maker.make(task);
        for (QByteArray& secret : task.memory) {
            wipeIfOwned(secret);
        }
        if (!socket.write(packed(result))) {
            break;
        }
    }
    _exit(0);
}

}  // namespace produce
