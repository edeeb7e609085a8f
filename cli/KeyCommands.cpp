#include "Preparation/src/TarnwaveQuill/signatureprep.h"
#include "cli/CommandBase.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

namespace {

constexpr char overwriteRisk[] = "Error risk of file overwritten.";
constexpr char missingFilesPaths[] = "You need to specify files paths.";
constexpr char missingKeysPaths[] = "You need to specify keys paths.";
constexpr char missingSignedPath[] = "You need to specify output signed file path.";
constexpr char missingBinaryPath[] = "You need to specify binary to sign.";
constexpr char missingPrivateKeyPath[] = "You need to specify private key path.";
constexpr char notABinary[] = "Invalid Input Binary file extension. \nPlease select .bin file.";

/// Shows the offending paths, then the error.
Flow failWithPaths(const QStringList& paths, const char* text) {
    for (const QString& path : paths) {
        displayMessage(MessageKind::grey, "%s", qUtf8Printable(path));
    }
    return failWith("%s", text);
}

struct KeyGenerationCommand : CommandBase {
    using CommandBase::CommandBase;

    QStringList keyPaths;     // private, public
    QStringList sourcePaths;  // C, Python, text

    Flow run();
    Flow setSourcePaths(const QStringList& params);
    Flow setKeyPaths(const QStringList& params);
};

constexpr OptionRow<KeyGenerationCommand> generationRows[] = {
    {"-k", "--k", nullptr, missingKeysPaths, &KeyGenerationCommand::setKeyPaths},
    {"-k", "--key", nullptr, missingKeysPaths, &KeyGenerationCommand::setKeyPaths},
    {"-f", "--f", nullptr, missingFilesPaths, &KeyGenerationCommand::setSourcePaths},
};

Flow KeyGenerationCommand::setSourcePaths(const QStringList& params) {
    struct Extension {
        const char* suffix;
        const char* error;
    };
    constexpr Extension extensions[] = {
        {".c", "Public key c file's extension should be .c!"},
        {".py", "Public key python file's extension should be .py!"},
        {".txt", "Public key txt file's extension should be .txt!"},
    };
    if (params.size() < 3) {
        return failWith("You need three paths for .c , .py and .txt files.");
    }
    sourcePaths = params.first(3);
    auto path = sourcePaths.constBegin();
    for (const Extension& extension : extensions) {
        if (!path->endsWith(QLatin1String(extension.suffix))) {
            return failWithPaths({*path}, extension.error);
        }
        ++path;
    }
    return Flow::goOn();
}

Flow KeyGenerationCommand::setKeyPaths(const QStringList& params) {
    if (params.size() < 2) {
        return failWith("You need two paths for private and public keys.");
    }
    keyPaths = params.first(2);
    for (const QString& path : keyPaths) {
        if (!path.endsWith(QLatin1String(".pem"))) {
            return failWithPaths(keyPaths, "Both private and public keys' extension should be .pem!");
        }
    }
    return Flow::goOn();
}

Flow KeyGenerationCommand::run() {
    const Flow flow = walkOptions(tool, *this, generationRows, nullptr, given);
    if (flow.ends()) {
        return flow;
    }
    if (sourcePaths.isEmpty()) {
        return failWith(missingFilesPaths);
    }
    if (keyPaths.isEmpty()) {
        return failWith(missingKeysPaths);
    }
    const QStringList paths = keyPaths + sourcePaths;
    QSet<QString> places;
    for (const QString& path : paths) {
        const QFileInfo file(path);
        // A folder may be named in two ways, through a link or by its own path.
        const QString folder = file.absoluteDir().canonicalPath();
        const QString place = (folder.isEmpty() ? file.absolutePath() : folder) + u'/' + file.fileName();
        if (file.exists() || places.contains(place)) {
            return failWith(overwriteRisk);
        }
        places.insert(place);
    }
    const int result = generateTarnwaveKeys(paths.at(0), paths.at(1), paths.at(2), paths.at(3), paths.at(4));
    if (result == tarnwaveWrongExponent) {
        return Flow::end(result);
    }
    if (result != tarnwaveDone) {
        return failWith("Error path does not exist.");
    }
    displayMessage(MessageKind::success, "\nkeys generated succesfully.\n");
    return Flow::goOn();
}

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

constexpr OptionRow<BinarySigningCommand> signingRows[] = {
    {"-k", "--k", nullptr, missingPrivateKeyPath, &BinarySigningCommand::setKey},
    {"-k", "--key", nullptr, missingPrivateKeyPath, &BinarySigningCommand::setKey},
    {"-f", "--f", nullptr, missingBinaryPath, &BinarySigningCommand::setInput},
    {"-o", "--o", nullptr, missingSignedPath, &BinarySigningCommand::setOutput},
};

Flow BinarySigningCommand::setKey(const QStringList& params) {
    keyPath = params.constFirst();
    if (!QFile::exists(keyPath)) {
        return failWith("The Private Key file does not exist. \nPlease select a correct file path.");
    }
    return keyPath.endsWith(QLatin1String(".pem"))
               ? Flow::goOn()
               : failWithPaths({keyPath}, "Invalid Private key file extension. \nPlease select .pem file.");
}

Flow BinarySigningCommand::setInput(const QStringList& params) {
    inputPath = params.constFirst();
    if (!QFile::exists(inputPath)) {
        return failWith("The Input file does not exist. \nPlease select a correct file path.");
    }
    return inputPath.endsWith(QLatin1String(".bin")) ? Flow::goOn() : failWithPaths({inputPath}, notABinary);
}

Flow BinarySigningCommand::setOutput(const QStringList& params) {
    signedPath = params.constFirst();
    return signedPath.endsWith(QLatin1String(".bin")) ? Flow::goOn() : failWithPaths({signedPath}, notABinary);
}

Flow BinarySigningCommand::run() {
    // A key of 2048 bits in its traditional form is smaller; a larger one needs a longer signature than there is room.
    constexpr qint64 maxKeyFileSize = 1679;
    const Flow flow = walkOptions(tool, *this, signingRows, nullptr, given);
    if (flow.ends()) {
        return flow;
    }
    if (signedPath.isEmpty()) {
        return failWith(missingSignedPath);
    }
    if (inputPath.isEmpty()) {
        return failWith(missingBinaryPath);
    }
    if (keyPath.isEmpty()) {
        return failWith(missingPrivateKeyPath);
    }
    if (QFile::exists(signedPath)) {
        return failWith(overwriteRisk);
    }
    if (QFileInfo(keyPath).size() > maxKeyFileSize) {
        return failWith("Error in private key size !");
    }
    const int result = signTarnwaveBinary(keyPath, inputPath, signedPath);
    if (result == tarnwaveOutOfMemory) {
        return Flow::end(result);  // told of already
    }
    if (result == tarnwaveDone) {
        displayMessage(MessageKind::success, "\nSigned file generated succesfully.\n");
    } else {
        reportError("Error while generating signed binary");
    }
    return Flow::goOn();
}

}  // namespace

Flow CommandLineTool::runKeyGeneration() {
    return KeyGenerationCommand(*this).run();
}

Flow CommandLineTool::runBinarySigning() {
    return BinarySigningCommand(*this).run();
}
