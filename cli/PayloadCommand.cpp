#include "cli/CommandBase.h"
#include "cli/commands.h"
#include "files/outputFile.h"
#include "files/unfinishedFiles.h"
#include "files/wipe.h"

#include <QDir>
#include <QFileInfo>

namespace cli {

namespace {

constexpr std::uint32_t blobSize = 152;

struct PayloadCommand : CommandBase {
    using CommandBase::CommandBase;

    QByteArray blob;
    QByteArray oemKeyPath;
    UnfinishedFile oemKeyCopy;  // a copy of a key from a pipe, which the library can't read again
    int pvsProtocol = 0;        // 0: bound to a PEM key, 1: to a root key table hash
    WipeOnExit wipeBlob{blob};

    Flow run();
    Flow readBlob(const QStringList& params);
    Flow readOemKey(const QStringList& params);
    Flow copyOemKey(const QByteArray& oemKey, bool pem);
};

constexpr OptionRow<PayloadCommand> optionRows[] = {
    {"-b", "--blob", "blob", missingBlobFile, &PayloadCommand::readBlob, 1},
    {"-pk", "--pubk", "pubk", "You need to specify a file with the pubk option", &PayloadCommand::readOemKey, 1},
    {"-k", "--key", "key", missingKeyFile, &PayloadCommand::readKey, 1},
    {"-n", "--nonce", "nonce", missingNonceFile, &PayloadCommand::readNonce16, 1},
    {"-o", "--out", "output file", missingOutputFile, &PayloadCommand::setPvsOutput, 1},
    {"-l", "--log"},
};

Flow PayloadCommand::readBlob(const QStringList& params) {
    return continueIf(readSecret(params.constFirst(), blob, blobSize));
}

Flow PayloadCommand::readOemKey(const QStringList& params) {
    const QString& path = params.constFirst();
    oemKeyPath = path.toUtf8();
    const bool pem = path.endsWith(QLatin1String(".pem"), Qt::CaseInsensitive);
    pvsProtocol = pem ? 0 : 1;
    displayMessage(MessageKind::normal, "PVS protocol version %d is requested !", pem ? 1 : 2);
    displayMessage(MessageKind::normal, "%s",
                   pem ? "OEM public key checking..." : "OEM Root public key table hash checking...");
    QByteArray oemKey;  // read only to check the size; the library opens the path itself
    if (!readSecret(path, oemKey, pem ? 178 : 32)) {
        return Flow::end(1);
    }
    return QFileInfo(path).isFile() ? Flow::goOn() : copyOemKey(oemKey, pem);
}

Flow PayloadCommand::copyOemKey(const QByteArray& oemKey, bool pem) {
    FileHandle copy = oemKeyCopy.create(QFile::encodeName(QDir::tempPath()) + '/', pem ? ".pem" : "");
    if (!copy.isOpen() || !copy.write(oemKey) || !copy.close()) {
        return failRun("Unable to read the file %s", oemKeyPath.constData());
    }
    oemKeyPath = oemKeyCopy.name();
    return Flow::goOn();
}

Flow PayloadCommand::run() {
    if (tool.isGiven({"-tbi", "--tbi", "-tbu", "--tbu"})) {
        return failRun("You need to specify which of tbi, kmd, tbu or pvs you want to create");
    }
    warnOfOwnParameters("pvs");
    const Flow flow = walkOptions(*this, optionRows, "pvs");
    if (flow.ends()) {
        return flow;
    }
    for (const char* const name : {"-b", "-pk", "-k", "-n", "-o"}) {
        if (!wasGiven(optionRows, given, name)) {
            return failRun("One or more mandatory options are missing for %s PVS", pvsProtocol == 0 ? "RT51" : "RT31");
        }
    }
    if (!mayWrite(tool.outputPath)) {
        return Flow::end(1);
    }
    auto* const path = reinterpret_cast<unsigned char*>(oemKeyPath.data());
    const QByteArray payload = tool.preparation.PVSPayloadPreparation(blob, tool.key, tool.nonce, path, blobSize);
    if (payload.isEmpty()) {
        return failRun("Error occured when preparing PVS Payload");
    }
    if (!writeOutputFile(tool.outputPath, payload, "Error while writing in the Payload file")) {
        return Flow::end(1);
    }
    displayMessage(MessageKind::success, "PVS Payload generation success");
    displayMessage(MessageKind::grey, "    Path: %s", qUtf8Printable(tool.outputPath));
    displayMessage(MessageKind::grey, "    Size: %s Bytes", QByteArray::number(payload.size()).constData());
    return Flow::end(0);
}

constexpr auto optionNames = namesOf(optionRows);

}  // namespace

constinit const Command payloadCommand = {{"-pvs", "--pvs"}, runCommandOf<PayloadCommand>, 0, optionNames};

}  // namespace cli
