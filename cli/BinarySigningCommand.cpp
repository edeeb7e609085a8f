#include "Preparation/src/TarnwaveQuill/signatureprep.h"
#include "cli/CommandBase.h"
#include "cli/commands.h"

#include <QFile>
#include <QFileInfo>

namespace cli {

namespace {

constexpr char missingSignedPath[] = "You need to specify output signed file path.";
constexpr char missingBinaryPath[] = "You need to specify binary to sign.";
constexpr char missingPrivateKeyPath[] = "You need to specify private key path.";
constexpr char notABinary[] = "Invalid Input Binary file extension. \nPlease select .bin file.";

struct BinarySigningCommand : CommandBase {
    using CommandBase::CommandBase;

    QString keyPath;
    QString inputPath;
    QString signedPath;

    Flow run();
    Flow setKey(const QStringList& params);
    Flow setInput(const QStringList& params);
    Flow setOutput(const QStringList& params);
};

constexpr OptionRow<BinarySigningCommand> optionRows[] = {
    {"-k", "--k", nullptr, missingPrivateKeyPath, &BinarySigningCommand::setKey, 1},
    {"-k", "--key", nullptr, missingPrivateKeyPath, &BinarySigningCommand::setKey, 1},
    {"-f", "--f", nullptr, missingBinaryPath, &BinarySigningCommand::setInput, 1},
    {"-o", "--o", nullptr, missingSignedPath, &BinarySigningCommand::setOutput, 1},
};

Flow BinarySigningCommand::setKey(const QStringList& params) {
    keyPath = params.constFirst();
    if (!QFile::exists(keyPath)) {
        return failRun("The Private Key file does not exist. \nPlease select a correct file path.");
    }
    return keyPath.endsWith(QLatin1String(".pem"))
               ? Flow::goOn()
               : failRunOver({keyPath}, "Invalid Private key file extension. \nPlease select .pem file.");
}

Flow BinarySigningCommand::setInput(const QStringList& params) {
    inputPath = params.constFirst();
    if (!QFile::exists(inputPath)) {
        return failRun("The Input file does not exist. \nPlease select a correct file path.");
    }
    return inputPath.endsWith(QLatin1String(".bin")) ? Flow::goOn() : failRunOver({inputPath}, notABinary);
}

Flow BinarySigningCommand::setOutput(const QStringList& params) {
    signedPath = params.constFirst();
    return signedPath.endsWith(QLatin1String(".bin")) ? Flow::goOn() : failRunOver({signedPath}, notABinary);
}

Flow BinarySigningCommand::run() {
    // The file of a 2048-bit key in its traditional form is smaller. The signature of a longer key doesn't fit.
    constexpr qint64 maxKeyFileSize = 1679;
    const Flow flow = walkOptions(*this, optionRows, nullptr);
    if (flow.ends()) {
        return flow;
    }
    if (signedPath.isEmpty()) {
        return failRun(missingSignedPath);
    }
    if (inputPath.isEmpty()) {
        return failRun(missingBinaryPath);
    }
    if (keyPath.isEmpty()) {
        return failRun(missingPrivateKeyPath);
    }
    if (QFile::exists(signedPath)) {
        return failRun(overwriteRisk);
    }
    if (QFileInfo(keyPath).size() > maxKeyFileSize) {
        return failRun("Error in private key size !");
    }
    const int result = signTarnwaveBinary(keyPath, inputPath, signedPath);
    if (result == tarnwaveOutOfMemory) {
        return Flow::end(result);  // already reported
    }
    if (result == tarnwaveDone) {
        displayMessage(MessageKind::success, "\nSigned file generated succesfully.\n");
    } else {
        reportError("Error while generating signed binary");
    }
    return Flow::goOn();
}

constexpr auto optionNames = namesOf(optionRows);

}  // namespace

constinit const Command binarySigningCommand = {
    {"-signbin", "--signbin"}, runCommandOf<BinarySigningCommand>, 0, optionNames};

}  // namespace cli
