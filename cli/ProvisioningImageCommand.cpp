#include "cli/CommandBase.h"
#include "cli/commands.h"
#include "cli/imageListing.h"
#include "files/outputFile.h"
#include "files/parseNumber.h"
#include "files/wipe.h"

namespace cli {

namespace {

struct ProvisioningImageCommand : CommandBase {
    using CommandBase::CommandBase;

    QByteArray blob;
    WipeOnExit wipeBlob{blob};

    Flow run();
    Flow readBlob(const QStringList& params);
    Flow addBackup(const QStringList& params);
};

constexpr OptionRow<ProvisioningImageCommand> optionRows[] = {
    {"-b", "--blob", "blob", missingBlobFile, &ProvisioningImageCommand::readBlob, 1},
    {"-backup", "--backup", nullptr, missingBlobFile, &ProvisioningImageCommand::addBackup, 1},
    {"-k", "--key", "key", missingKeyFile, &ProvisioningImageCommand::readKey, 1},
    {"-n", "--nonce", "nonce", missingNonceFile, &ProvisioningImageCommand::readNonce12, 1},
    {"-iv", "--image-version", "image version", missingImageVersion, &ProvisioningImageCommand::setImageVersion},
    {"-o", "--out", "output file", missingOutputFile, &ProvisioningImageCommand::setPvsOutput, 1},
    {"-l", "--log"},
};

Flow ProvisioningImageCommand::readBlob(const QStringList& params) {
    return continueIf(readSecret(params.constFirst(), blob, 0));
}

Flow ProvisioningImageCommand::addBackup(const QStringList& params) {
    const QString& path = params.constFirst();
    secretPaths.append(path);
    FileData* file = nullptr;
    if (!openInput(path, file)) {
        return Flow::end(1);
    }
    if (file->fileType != fileTypeBinary) {
        reportError("Unable to create an PVS TBI image from this file's format : %s", qUtf8Printable(path));
        return failRun("Accepts only binary file for backup memory.");
    }
    BackupRecord record;
    // A pipe can be read only once.
    QByteArray& image = file->segments.front().data;
    const WipeOnExit wipeImage(image);
    if ((canReadBack(path) ? parseBackupImage(path, record.sections)
                           : parseBackupImage(image, path, record.sections)) != 0) {
        return failRun("Parse PVS Backup file failed !");
    }
    if (params.size() < 2) {
        return failRun("You need to specify an address with the backup memory.");
    }
    if (!parseNumber(params.at(1), 0, record.address)) {
        return failRun("Invalid backup address address");
    }
    tool.backupSections.append(std::move(record));
    return Flow::goOn();
}

Flow ProvisioningImageCommand::run() {
    // The plain "-tbi" isn't in this list: one run may make both images.
    if (tool.isGiven({"-pvs", "--tbi", "-tbu", "--tbu"})) {
        return failRun("You need to specify which of tbi, kmd, tbu, pvs, or pvs-tbi you want to create");
    }
    warnOfOwnParameters("pvs-tbi");
    const Flow flow = walkOptions(*this, optionRows, "pvs-tbi");
    if (flow.ends()) {
        return flow;
    }
    for (const char* const name : {"-b", "-k", "-n", "-o"}) {
        if (!wasGiven(optionRows, given, name)) {
            return failRun("One or more mandatory options are missing for RT51 PVS");
        }
    }
    if (!mayWrite(tool.outputPath)) {
        return Flow::end(1);
    }
    pvsTbiParameters parameters;
    parameters.blob = std::move(blob);
    parameters.backupSections = std::move(tool.backupSections);
    parameters.key = std::move(tool.key);
    parameters.nonce = std::move(tool.nonce);
    parameters.imageVersion = static_cast<std::uint8_t>(tool.imageVersion);
    const QByteArray image = tool.preparation.pvsTbiPreparation(std::move(parameters));
    if (image.isEmpty()) {
        return failRun("Error occured when preparing PVS Payload");
    }
    if (!writeOutputFile(tool.outputPath, image, "Error while writing in the Payload file")) {
        return Flow::end(1);
    }
    const Flow listed = parsePvsTbiDisplay(tool, tool.outputPath, &image);
    if (!listed.ends()) {
        displayMessage(MessageKind::success, "PVS TBI Payload generation success");
    }
    return listed;
}

constexpr auto optionNames = namesOf(optionRows);

}  // namespace

constinit const Command provisioningImageCommand = {
    {"-pvs-tbi", "--pvs-tbi"}, runCommandOf<ProvisioningImageCommand>, 0, optionNames};

}  // namespace cli
