#pragma once

#include "cli/Command.h"
#include "files/FileLoadContext.h"
#include "preparation-interface/Preparation.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

namespace obkey {
class Obkey;
}  // namespace obkey

namespace cli {

/// The context of a run: the scanned command line, and the data that one command leaves for the next.
class CommandLineTool {
  public:
    CommandLineTool();
    ~CommandLineTool();
    CommandLineTool(const CommandLineTool&) = delete;
    CommandLineTool& operator=(const CommandLineTool&) = delete;

    /// Runs the tool, from the banner to the status. Makes the application object, unless there is one.
    [[nodiscard]] int run(int argc, char** argv);
    /// Scans and runs these arguments, the program path first. Needs an application object, which knows the program's
    /// folder.
    [[nodiscard]] int runArguments(const QStringList& arguments);

    /// Finds the first option with exactly this name. If there is one, sets `currentIndex` and `outParams`; otherwise
    /// changes neither.
    [[nodiscard]] bool optionPresent(const char* name, QStringList& outParams);
    /// Whether the command line has any of these options.
    [[nodiscard]] bool isGiven(std::initializer_list<const char*> names) const;

    /// Reads the whole file at `path` into `outBytes`. The file must have `expectedSize` bytes, unless that is 0. On
    /// failure the fault has been reported and `outBytes` is unchanged.
    [[nodiscard]] static bool readBinaryFile(const QString& path, QByteArray& outBytes, qint64 expectedSize);

    // The command line, and the option that the chain found last. Each command receives its part as a CommandCall.
    QList<CliOption> options;
    QStringList currentParams;
    qsizetype currentIndex = 0;

    // Shared by all commands. `currentFile` is the file that was opened last.
    Preparation preparation;
    FileLoadContext fileContext;
    FileData* currentFile = nullptr;

    // Data that a command leaves for later commands. -tbi leaves its key and nonce for -hsm, and its version for
    // -pvs-tbi. It also leaves its output path: -ppvs-tbi prints the size of that file.
    QByteArray key;
    QByteArray nonce;
    std::uint32_t imageVersion = 0;
    QString outputPath;

    // The template engine, shared by -pb, -obk and -genkey; the first of them creates it.
    std::unique_ptr<obkey::Obkey> obkey;

    // The inputs of -tbi. -tbu, which ends the run, uses `firmware` as well.
    std::uint32_t deviceId = 0;
    QList<FileData*> firmwareFiles;
    QList<FileData*> externalFirmwareFiles;
    FileData* firmware = nullptr;
    FileData* externalFirmware = nullptr;
    QList<ExtBinInfo> externalBinInfos;
    FileData* optionBytesFile = nullptr;
    FileData* keyAreaFile = nullptr;
    FileData* diversificationFile = nullptr;
    QList<FileData*> modules;
    QList<FileOBK*> obkFiles;
    FileTBI* xtbiFile = nullptr;
    FileMCSV* mcsvFile = nullptr;
    FileECSV* ecsvFile = nullptr;

    // Values that no later command reads.
    QString outputImagePath;             ///< -tbu
    QByteArray binaryPath;               ///< -sign
    QString privateKeyPath;              ///< -sign
    std::uint8_t signatureSize = 0;      ///< -sign: the signature algorithm; 0 is the only one
    QByteArray persoData;                ///< -hsm
    QByteArray templatePath;             ///< -pb, -obk
    QList<BackupRecord> backupSections;  ///< -pvs-tbi

  private:
    void scanArguments(const QStringList& arguments);
    [[nodiscard]] qsizetype indexOf(const char* name) const;  // of the first option with this name, or -1
    [[nodiscard]] bool isCalled(const Command& command, CommandCall& call);
    Flow walkChain();
};

}  // namespace cli
