#pragma once

#include "cli/Command.h"
#include "files/FileLoadContext.h"
#include "preparation-interface/Preparation.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

class Obkey;

/// The context of a run: the scanned command line, and what one command leaves for the next.
class CommandLineTool {
  public:
    CommandLineTool();
    ~CommandLineTool();
    CommandLineTool(const CommandLineTool&) = delete;
    CommandLineTool& operator=(const CommandLineTool&) = delete;

    /// The whole run, from banner to status.
    [[nodiscard]] int run(int argc, char** argv);
    /// The same for arguments at hand, the program path first. Needs an application object for the program's folder.
    [[nodiscard]] int runArguments(const QStringList& arguments);

    /// Finds the first option of exactly this name; true sets `currentIndex` and `outParams`, false touches neither.
    [[nodiscard]] bool optionPresent(const char* name, QStringList& outParams);
    /// Whether the command line has any of these options.
    [[nodiscard]] bool isGiven(std::initializer_list<const char*> names) const;

    /// Reads the whole file at `path` into `outBytes`, which may be expected to have `expectedSize` bytes (0: any).
    /// False, with a message and `outBytes` as it was, otherwise.
    [[nodiscard]] static bool readBinaryFile(const QString& path, QByteArray& outBytes, qint64 expectedSize);

    // The command line, and where the chain stands in it. A command gets what it needs of it as its CommandCall.
    QList<CliOption> options;
    QStringList currentParams;
    qsizetype currentIndex = 0;

    // What every command works with. `currentFile` is the file that was opened last.
    Preparation preparation;
    FileLoadContext fileContext;
    FileData* currentFile = nullptr;

    // What one command leaves for those after it: -tbi its key and nonce for -hsm, its version for -pvs-tbi, its output
    // for the size that -ppvs-tbi prints.
    QByteArray key;
    QByteArray nonce;
    std::uint32_t imageVersion = 0;
    QString outputPath;

    // The template engine, which -pb, -obk and -genkey share; made by the first of them.
    std::unique_ptr<Obkey> obkey;

    // What -tbi gathers. -tbu, whose run ends there, takes `firmware` too.
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

    // What the command that ends the run, or the last one to take such data, was given.
    QString outputImagePath;             ///< -tbu
    QByteArray binaryPath;               ///< -sign
    QString privateKeyPath;              ///< -sign
    std::uint8_t signatureSize = 0;      ///< -sign: the signature algorithm; there is one, number 0
    QByteArray persoData;                ///< -hsm
    QByteArray templatePath;             ///< -pb, -obk
    QList<BackupRecord> backupSections;  ///< -pvs-tbi

  private:
    void scanArguments(const QStringList& arguments);
    [[nodiscard]] qsizetype indexOf(const char* name) const;  // of the first such option; -1: there is none
    [[nodiscard]] bool isCalled(const Command& command, CommandCall& call);
    Flow walkChain();
};
