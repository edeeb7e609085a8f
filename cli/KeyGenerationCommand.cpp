#include "Preparation/src/TarnwaveQuill/signatureprep.h"
#include "cli/CommandBase.h"
#include "cli/commands.h"
#include "files/outputFile.h"

#include <QFile>

#include <algorithm>

namespace cli {

namespace {

constexpr char missingFilesPaths[] = "You need to specify files paths.";
constexpr char missingKeysPaths[] = "You need to specify keys paths.";

struct KeyGenerationCommand : CommandBase {
    using CommandBase::CommandBase;

    QStringList keyPaths;     // private, public
    QStringList sourcePaths;  // C, Python, text

    Flow run();
    Flow setSourcePaths(const QStringList& params);
    Flow setKeyPaths(const QStringList& params);
};

constexpr OptionRow<KeyGenerationCommand> optionRows[] = {
    {"-k", "--k", nullptr, missingKeysPaths, &KeyGenerationCommand::setKeyPaths, 2},
    {"-k", "--key", nullptr, missingKeysPaths, &KeyGenerationCommand::setKeyPaths, 2},
    {"-f", "--f", nullptr, missingFilesPaths, &KeyGenerationCommand::setSourcePaths, 3},
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
        return failRun("You need three paths for .c , .py and .txt files.");
    }
    sourcePaths = params.first(3);
    auto path = sourcePaths.constBegin();
    for (const Extension& extension : extensions) {
        if (!path->endsWith(QLatin1String(extension.suffix))) {
            return failRunOver({*path}, extension.error);
        }
        ++path;
    }
    return Flow::goOn();
}

Flow KeyGenerationCommand::setKeyPaths(const QStringList& params) {
    if (params.size() < 2) {
        return failRun("You need two paths for private and public keys.");
    }
    keyPaths = params.first(2);
    for (const QString& path : keyPaths) {
        if (!path.endsWith(QLatin1String(".pem"))) {
            return failRunOver(keyPaths, "Both private and public keys' extension should be .pem!");
        }
    }
    return Flow::goOn();
}

Flow KeyGenerationCommand::run() {
    const Flow flow = walkOptions(*this, optionRows, nullptr);
    if (flow.ends()) {
        return flow;
    }
    if (sourcePaths.isEmpty()) {
        return failRun(missingFilesPaths);
    }
    if (keyPaths.isEmpty()) {
        return failRun(missingKeysPaths);
    }
    const QStringList paths = keyPaths + sourcePaths;
    for (auto path = paths.begin(); path != paths.end(); ++path) {
        const auto isSame = [path](const QString& earlier) { return isSameFile(earlier, *path); };
        if (QFile::exists(*path) || std::any_of(paths.begin(), path, isSame)) {
            return failRun(overwriteRisk);
        }
    }
    const int result = generateTarnwaveKeys(paths.at(0), paths.at(1), paths.at(2), paths.at(3), paths.at(4));
    if (result == tarnwaveWrongExponent) {
        return Flow::end(result);
    }
    if (result != tarnwaveDone) {
        return failRun("Error path does not exist.");
    }
    displayMessage(MessageKind::success, "\nkeys generated succesfully.\n");
    return Flow::goOn();
}

constexpr auto optionNames = namesOf(optionRows);

}  // namespace

constinit const Command keyGenerationCommand = {
    {"-keygen", "--keygen"}, runCommandOf<KeyGenerationCommand>, 0, optionNames};

}  // namespace cli
