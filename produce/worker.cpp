#include "produce/worker.h"

#include "Preparation/card/cardProof.h"
#include "Preparation/primitives/AesGcm.h"
#include "Preparation/primitives/P256Key.h"
#include "Preparation/primitives/Sha256.h"
#include "Preparation/primitives/ecdsa.h"
#include "Preparation/primitives/keyPem.h"
#include "cli/CommandLineTool.h"
#include "display/Display.h"
#include "files/guardProcess.h"
#include "files/parseNumber.h"
#include "files/readWhole.h"
#include "files/unfinishedFiles.h"
#include "files/wipe.h"
#include "jobs/commandLine.h"
#include "produce/MemoryFiles.h"
#include "produce/Prover.h"
#include "produce/childProcess.h"
#include "produce/fileDigest.h"
#include "produce/fillIn.h"
#include "produce/messages.h"
#include "produce/proof.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <utility>
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

/// Makes the folders of the files that a step writes.
bool makeFolders(const Step& step, const FilledStep& filled, QString& reason) {
    QStringList folders;
    for (const jobs::FieldRow* const row : jobs::fieldsOf(*step.row)) {
        const QString path = jobs::pathOf(filled.values.value(QLatin1String(row->id)));
        if (isOutput(*row) && !path.isEmpty()) {
            folders.append(row->kind == jobs::FieldKind::folder ? path : QFileInfo(path).path());
        }
    }
    for (const Copy& copy : filled.copies) {
        folders.append(QFileInfo(copy.to).path());
    }
    for (const QString& folder : std::as_const(folders)) {
        if (!QDir().mkpath(folder)) {
            reason = QStringLiteral("the folder %1 can't be made").arg(folder);
            return false;
        }
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

/// A field for a secret whose file needs a name.
struct NamedField {
    const char* job;
    const char* field;
    const char* suffix;  ///< if the key has none of its own
};

constexpr std::array namedFields = {
    NamedField{"sign", "key", ".pem"},  // the tool writes the public key beside it
    NamedField{"external-memory", "key", ".bin"},
    NamedField{"wireless-sign", "key", ".pem"},
    NamedField{"payload", "secrets", ".bin"},
    NamedField{"payload", "public-key", ""},  // a key or a hash
    NamedField{"provisioning-image", "secrets", ".bin"},
    NamedField{"provisioning-image", "backup", ".bin"},
    NamedField{"personalization", "data", ".bin"},
};

/// Some commands read the format of a file from the end of its name, and a key in memory has no name. While this object
/// exists, such keys have names in a folder in the device's folder.
class KeyNames {
  public:
    KeyNames(const Making& making, const Step& step, const QString& folder, FilledStep& filled)
        : folder_(folder + QStringLiteral("/.qvora-keys")) {
        for (const NamedField& named : namedFields) {
            if (qstrcmp(named.job, step.row->id) == 0) {
                giveNames(making, named, filled.values[QLatin1String(named.field)]);
            }
        }
    }
    ~KeyNames() { static_cast<void>(remove()); }
    KeyNames(const KeyNames&) = delete;
    KeyNames& operator=(const KeyNames&) = delete;

    /// Removes the names, and what the step wrote beside them. False if something is left.
    [[nodiscard]] bool remove() { return !std::exchange(hasFolder_, false) || QDir(folder_).removeRecursively(); }
    [[nodiscard]] bool areGiven() const { return areGiven_; }

  private:
    void giveNames(const Making& making, const NamedField& named, QStringList& value) {
        for (QString& path : value) {
            if (!path.startsWith(QLatin1String(memoryFolder))) {
                continue;
            }
            const QString own = QFileInfo(sourceOf(making, path)).suffix();
            const QString name = QStringLiteral("%1/%2").arg(folder_).arg(count_) +
                                 (own.isEmpty() ? QString::fromLatin1(named.suffix) : u'.' + own);
            hasFolder_ = true;
            areGiven_ = areGiven_ && QDir().mkpath(folder_) && QFile::link(path, name);
            path = name;
            ++count_;
        }
    }

    /// The path that the job gives for a key in memory.
    static QString sourceOf(const Making& making, const QString& path) {
        const QString name = making.keyPaths.key(path);
        const auto source = std::find_if(making.job.keys.begin(), making.job.keys.end(),
                                         [&name](const KeySource& key) { return key.name == name; });
        return source == making.job.keys.end() ? QString() : source->path;
    }

    QString folder_;
    int count_ = 0;
    bool hasFolder_ = false;
    bool areGiven_ = true;
};

bool readSecret(const jobs::JobValues& values, const char* field, QByteArray& bytes) {
    constexpr qint64 largest = 4096;
    QFile file(jobs::pathOf(values.value(QLatin1String(field))));
    return (file.open(QIODevice::ReadOnly) && readUpTo(file, largest, bytes)) ||
           reportError("The file %s can't be read", qUtf8Printable(file.fileName()));
}

/// Compares the card with the values of a step. Runs in a child, whose end also ends the use of the card's driver.
CardProof proveCardOf(const jobs::JobValues& values) {
    constexpr std::int32_t defaultSlot = 2;
    const QString slot = jobs::textOf(values, "slot");
    std::uint32_t number = defaultSlot;
    WantedCard wanted;
    wanted.firmwareId = jobs::textOf(values, "firmware-id").toUtf8();
    const bool hasPerso = !jobs::pathOf(values.value(QStringLiteral("personalization"))).isEmpty();
    const bool isGood = (slot.isEmpty() || parseNumber(slot, 0, number)) &&
                        parseNumber(jobs::textOf(values, "licences"), 0, wanted.maxCounter) &&
                        readSecret(values, "key", wanted.key) && readSecret(values, "nonce", wanted.nonce) &&
                        (!hasPerso || readSecret(values, "personalization", wanted.persoData));
    return isGood ? proveCard(static_cast<std::int32_t>(number), wanted) : CardProof::failed;
}

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
        Device device{task.serial, task.values, task.folder, task.noncePaths, making_.keyPaths};
        device.keyPaths.insert(task.keyPaths);
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
        // If the source of a copy changes after this digest, that is a fault, even if the copy has the new content.
        if (!takeDigests(step, filled, true, result) || !makeFolders(step, filled, result.reason) ||
            !makeCopies(making_.job, filled, device, result.reason) || !takeDigests(step, filled, false, result)) {
            return;
        }
        KeyNames names(making_, step, device.outFolder, filled);
        if (!names.areGiven()) {
            result.reason = QStringLiteral("a file can't be made in %1").arg(device.outFolder);
            return;
        }
        QStringList outputs =
            outputPaths(step, filled);  // templates name their outputs, and a step may change a template
        for (QString& output : outputs) {
            output = QDir::cleanPath(output);
            if (!isInFolder(device.outFolder, output)) {
                result.reason = QStringLiteral("the output %1 isn't in the device's folder").arg(output);
                return;
            }
        }
        const QStringList arguments = jobs::argumentsOf(*step.row, filled.values);
        if (proofLimit(*step.row) == ProofLimit::card) {
            makeCard(step, filled, arguments, result);
            return;
        }
        const ChildEnd end = runInChild([&arguments] { return runTool(arguments); }, step.timeoutSeconds);
        if (end.kind != ChildEnd::Kind::exited || end.code != 0) {
            result.reason = reasonOf(end, step.timeoutSeconds);
            return;
        }
        const bool needsRulesOnly = proofLimit(*step.row) == ProofLimit::rulesOnly;
        prover_.prove({proofArguments(step, filled), outputs, task.memory, needsRulesOnly}, step.timeoutSeconds,
                      result);
        if (result.isProven && !names.remove()) {
            result.isProven = false;
            result.reason = QStringLiteral("a file can't be removed from %1").arg(device.outFolder);
        }
        if (result.isProven) {
            checkInputs(device, result);
        }
    }

    /// Programs a card. After a crash, the card may be programmed already. It is then proven if it has exactly the
    /// wanted content.
    static void makeCard(const Step& step, const FilledStep& filled, const QStringList& arguments, StepResult& result) {
        const auto prove = [&filled] {
            Display* const display = Display::getInstance();
            display->callback = displayCallback;
            const CardProof proof = proveCardOf(filled.values);
            static_cast<void>(display->finishOutput());
            return static_cast<int>(proof);
        };
        ChildEnd end = runInChild(prove, step.timeoutSeconds);
        if (end.kind == ChildEnd::Kind::exited && end.code == static_cast<int>(CardProof::fresh)) {
            end = runInChild([&arguments] { return runTool(arguments); }, step.timeoutSeconds);
            if (end.kind == ChildEnd::Kind::exited && end.code == 0) {
                end = runInChild(prove, step.timeoutSeconds);
            }
        }
        result.isProven = end.kind == ChildEnd::Kind::exited && end.code == static_cast<int>(CardProof::holds);
        if (!result.isProven) {
            result.reason = reasonOf(end, step.timeoutSeconds);
        }
    }

    /// Computes the digests of the sources of copies, or of the other inputs.
    bool takeDigests(const Step& step, const FilledStep& filled, bool ofCopies, StepResult& result) {
        for (const InputPath& input : inputPaths(step, filled)) {
            if ((input.field == QLatin1String("copies")) != ofCopies) {
                continue;
            }
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

}  // namespace

void runWorker(const FileHandle& socket, const Making& making, pid_t runner) {
    for (const int signal : endingSignals) {
        std::signal(signal, SIG_IGN);
    }
    std::signal(SIGPIPE, SIG_IGN);
    wipeFreedOpensslMemory();
    // These objects are made once, because the children inherit them.
    char name[] = "qvora-produce";
    char* words[] = {name, nullptr};
    int count = 1;
    const QCoreApplication application(count, words);
    warmOpenssl();
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
