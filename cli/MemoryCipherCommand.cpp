#include "Preparation/src/DCU/DcuEncryption.h"
#include "cli/CommandBase.h"
#include "cli/commands.h"
#include "files/parseNumber.h"

namespace cli {

namespace {

// The option of the output folder reports a missing value with the same text.
constexpr char missingKeyPath[] = "You need to specify a Type for the Key file path";

struct MemoryCipherCommand : CommandBase {
    using CommandBase::CommandBase;

    QString appPath;
    QString keyPath;
    QString directory;
    std::uint32_t startAddress = 0;
    std::uint32_t mode = 0;

    Flow run();
    Flow setApp(const QStringList& params);
    Flow setKey(const QStringList& params);
    Flow setDirectory(const QStringList& params);
    Flow setStartAddress(const QStringList& params);
    Flow setMode(const QStringList& params);
};

QString imagePath(const QString& directory) {
    return directory + QLatin1String("/Encrypted_Image.bin");
}

constexpr OptionRow<MemoryCipherCommand> optionRows[] = {
    {"-app", "--app", nullptr, "You need to specify the application binary file path", &MemoryCipherCommand::setApp, 1},
    {"-key", "--key", nullptr, missingKeyPath, &MemoryCipherCommand::setKey, 1},
    {"-directory", "--Directory", nullptr, missingKeyPath, &MemoryCipherCommand::setDirectory, 1, false, imagePath},
    {"-add", "--add", nullptr, "You need to specify a start address", &MemoryCipherCommand::setStartAddress},
    {"-mode", "--mode", nullptr, "You need to specify the encryption mode", &MemoryCipherCommand::setMode},
};

Flow setBinaryPath(const QStringList& params, QString& path) {
    path = params.constFirst();
    return path.endsWith(QLatin1String(".bin")) ? Flow::goOn() : failRun("The file type must be a binary (.bin)");
}

// Returns 0 for a text that isn't a number.
std::uint32_t numberOrZero(const QStringList& params, int base) {
    std::uint32_t number = 0;
    static_cast<void>(parseNumber(params.constFirst(), base, number));
    return number;
}

Flow MemoryCipherCommand::setApp(const QStringList& params) {
    return setBinaryPath(params, appPath);
}

Flow MemoryCipherCommand::setKey(const QStringList& params) {
    secretPaths = params.first(1);
    return setBinaryPath(params, keyPath);
}

Flow MemoryCipherCommand::setDirectory(const QStringList& params) {
    directory = params.constFirst();
    return Flow::goOn();
}

Flow MemoryCipherCommand::setStartAddress(const QStringList& params) {
    startAddress = numberOrZero(params, 16);
    return Flow::goOn();
}

Flow MemoryCipherCommand::setMode(const QStringList& params) {
    mode = numberOrZero(params, 10);
    return Flow::goOn();
}

Flow MemoryCipherCommand::run() {
    const Flow flow = walkOptions(*this, optionRows, nullptr);
    if (flow.ends()) {
        return flow;
    }
    DcuEncryption engine;
    const bool encrypted =
        mayWrite(imagePath(directory)) && engine.encryptBinary(appPath, keyPath, directory, startAddress, mode);
    displayMessage(MessageKind::success, "%s",
                   encrypted ? "Firmware successfully Encrypted" : "Firmware encryption failed");
    return Flow::goOn();
}

constexpr auto optionNames = namesOf(optionRows);

}  // namespace

constinit const Command memoryCipherCommand = {{"-dcu", "--dcu"}, runCommandOf<MemoryCipherCommand>, 0, optionNames};

}  // namespace cli
