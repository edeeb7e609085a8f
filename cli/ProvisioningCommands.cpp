#include "cli/CommandBase.h"
#include "cli/imageListing.h"
#include "files/outputFile.h"
#include "files/parseNumber.h"
#include "files/wipe.h"

namespace {

constexpr char writeError[] = "Error while writing in the Payload file";
constexpr char preparationError[] = "Error occured when preparing PVS Payload";
constexpr std::uint32_t blobSize = 152;

struct PayloadCommand : CommandBase {
    using CommandBase::CommandBase;

    QByteArray blob;
    QByteArray oemKeyPath;
    WipeOnExit wipeBlob{blob};

    Flow run();
    Flow readBlob(const QStringList& params);
    Flow readOemKey(const QStringList& params);
};

constexpr OptionRow<PayloadCommand> payloadRows[] = {
    {"-b", "--blob", "blob", missingBlobFile, &PayloadCommand::readBlob},
    {"-pk", "--pubk", "pubk", "You need to specify a file with the pubk option", &PayloadCommand::readOemKey},
    {"-k", "--key", "key", missingKeyFile, &PayloadCommand::readKey},
    {"-n", "--nonce", "nonce", missingNonceFile, &PayloadCommand::readNonce16},
    {"-o", "--out", "output file", missingOutputFile, &PayloadCommand::setPvsOutput},
    {"-l", "--log"},
};

Flow PayloadCommand::readBlob(const QStringList& params) {
    return continueIf(CommandLineTool::readBinaryFile(params.constFirst(), blob, blobSize));
}

Flow PayloadCommand::readOemKey(const QStringList& params) {
    const QString& path = params.constFirst();
    oemKeyPath = path.toUtf8();
    const bool pem = path.endsWith(QLatin1String(".pem"), Qt::CaseInsensitive);
    tool.pvsProtocol = pem ? 0 : 1;
    displayMessage(MessageKind::normal, "PVS protocol version %d is requested !", pem ? 1 : 2);
    displayMessage(MessageKind::normal, "%s",
                   pem ? "OEM public key checking..." : "OEM Root public key table hash checking...");
    QByteArray oemKey;  // read for its size alone; the library takes the path
    return continueIf(CommandLineTool::readBinaryFile(path, oemKey, pem ? 178 : 32));
}

Flow PayloadCommand::run() {
    const Flow flow = walkOptions(tool, *this, payloadRows, "pvs", given);
    if (flow.ends()) {
        return flow;
    }
    for (const char* const name : {"-b", "-pk", "-k", "-n", "-o"}) {
        if (!wasGiven(payloadRows, given, name)) {
            return failWith("One or more mandatory options are missing for %s PVS",
                            tool.pvsProtocol == 0 ? "RT51" : "RT31");
        }
    }
    auto* const path = reinterpret_cast<unsigned char*>(oemKeyPath.data());
    const QByteArray payload = tool.preparation.PVSPayloadPreparation(blob, tool.key, tool.nonce, path, blobSize);
    if (payload.isEmpty()) {
        return failWith(preparationError);
    }
    if (!writeOutputFile(tool.outputPath, payload, writeError)) {
        return Flow::end(1);
    }
    displayMessage(MessageKind::success, "PVS Payload generation success");
    displayMessage(MessageKind::grey, "    Path: %s", qUtf8Printable(tool.outputPath));
    displayMessage(MessageKind::grey, "    Size: %s Bytes", QByteArray::number(payload.size()).constData());
    return Flow::end(0);
}

struct ProvisioningImageCommand : CommandBase {
    using CommandBase::CommandBase;

    QByteArray blob;
    WipeOnExit wipeBlob{blob};

    Flow run();
    Flow readBlob(const QStringList& params);
    Flow addBackup(const QStringList& params);
};

constexpr OptionRow<ProvisioningImageCommand> imageRows[] = {
    {"-b", "--blob", "blob", missingBlobFile, &ProvisioningImageCommand::readBlob},
    {"-backup", "--backup", nullptr, missingBlobFile, &ProvisioningImageCommand::addBackup},
    {"-k", "--key", "key", missingKeyFile, &ProvisioningImageCommand::readKey},
    {"-n", "--nonce", "nonce", missingNonceFile, &ProvisioningImageCommand::readNonce12},
    {"-iv", "--image-version", "image version", missingImageVersion, &ProvisioningImageCommand::setImageVersion},
    {"-o", "--out", "output file", missingOutputFile, &ProvisioningImageCommand::setPvsOutput},
    {"-l", "--log"},
};

Flow ProvisioningImageCommand::readBlob(const QStringList& params) {
    return continueIf(CommandLineTool::readBinaryFile(params.constFirst(), blob, 0));
}

Flow ProvisioningImageCommand::addBackup(const QStringList& params) {
    const QString& path = params.constFirst();
    FileData* file = nullptr;
    if (!openInput(path, file)) {
        return Flow::end(1);
    }
    if (file->fileType != fileTypeBinary) {
        reportError("Unable to create an PVS TBI image from this file's format : %s", qUtf8Printable(path));
        return failWith("Accepts only binary file for backup memory.");
    }
    BackupRecord record;
    if (parseBackupImage(path, record.sections) != 0) {
        return failWith("Parse PVS Backup file failed !");
    }
    if (params.size() < 2) {
        return failWith("You need to specify an address with the backup memory.");
    }
    if (!parseNumber(params.at(1), 0, record.address)) {
        return failWith("Invalid backup address address");
    }
    tool.backupSections.append(record);
    return Flow::goOn();
}

Flow ProvisioningImageCommand::run() {
    const Flow flow = walkOptions(tool, *this, imageRows, "pvs-tbi", given);
    if (flow.ends()) {
        return flow;
    }
    for (const char* const name : {"-b", "-k", "-n", "-o"}) {
        if (!wasGiven(imageRows, given, name)) {
            return failWith("One or more mandatory options are missing for RT51 PVS");
        }
    }
    pvsTbiParameters parameters;
    parameters.blob = std::move(blob);
    parameters.backupSections = tool.backupSections;
    parameters.key = std::move(tool.key);
    parameters.nonce = std::move(tool.nonce);
    parameters.imageVersion = static_cast<std::uint8_t>(tool.imageVersion);
    const QByteArray image = tool.preparation.pvsTbiPreparation(std::move(parameters));
    if (image.isEmpty()) {
        return failWith(preparationError);
    }
    if (!writeOutputFile(tool.outputPath, image, writeError)) {
        return Flow::end(1);
    }
    const Flow listed = parsePvsTbiDisplay(tool, tool.outputPath);
    if (!listed.ends()) {
        displayMessage(MessageKind::success, "PVS TBI Payload generation success");
    }
    return listed;
}

}  // namespace

Flow CommandLineTool::runProvisioningPayload() {
    if (anyPresent({"-tbi", "--tbi", "-tbu", "--tbu"})) {
        return failWith("You need to specify which of tbi, kmd, tbu or pvs you want to create");
    }
    warnOfOwnParameters("pvs");
    return PayloadCommand(*this).run();
}

Flow CommandLineTool::runProvisioningImage() {
    // The plain "-tbi" isn't in this list: one run may make both images.
    if (anyPresent({"-pvs", "--tbi", "-tbu", "--tbu"})) {
        return failWith("You need to specify which of tbi, kmd, tbu, pvs, or pvs-tbi you want to create");
    }
    warnOfOwnParameters("pvs-tbi");
    return ProvisioningImageCommand(*this).run();
}
