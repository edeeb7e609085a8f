#pragma once

#include "cli/CliOption.h"
#include "cli/Flow.h"
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
    /// The same for any of several names, with the parameters in `currentParams`.
    [[nodiscard]] bool anyPresent(std::initializer_list<const char*> names);

    /// Reads the whole file at `path` into `outBytes`, which may be expected to have `expectedSize` bytes (0: any).
    /// False, with a message and `outBytes` as it was, otherwise.
    [[nodiscard]] static bool readBinaryFile(const QString& path, QByteArray& outBytes, qint64 expectedSize);

    /// Warns if the command's own option, the one last found, has parameters.
    void warnOfOwnParameters(const char* commandWord) const;
    /// Warns of the parameters behind the first one of the command's own option.
    void warnOfExtraParameters(const char* commandName) const;

    // One member function a step of the chain, in the source of its command.
    Flow runHelp();
    Flow runLog();
    Flow runPersonalizationData();
    Flow runInstallImage();
    Flow runSign();
    Flow runUpdateImage();
    Flow runMemoryCipher();
    Flow runProvisioningPayload();
    Flow runKeyGeneration();
    Flow runBinarySigning();
    Flow runHsm();
    Flow runImageTemplate();
    Flow runObkeyTemplates();
    Flow runKeyTemplate();
    Flow runParseTbi();
    Flow runParsePvsTbi();
    Flow runProvisioningImage();
    Flow runBackupImage();

    QList<ExtBinInfo> externalBinInfos;
    std::unique_ptr<Obkey> obkey;  ///< made by the first command that needs it
    QList<CliOption> options;
    QStringList currentParams;
    Preparation preparation;
    FileLoadContext fileContext;
    FileData* currentFile = nullptr;
    FileData* firmware = nullptr;
    FileData* externalFirmware = nullptr;
    QList<FileData*> firmwareFiles;
    QList<FileData*> externalFirmwareFiles;
    FileData* optionBytesFile = nullptr;
    FileData* keyAreaFile = nullptr;
    FileData* diversificationFile = nullptr;
    QByteArray key;
    QByteArray nonce;
    QByteArray persoData;
    std::uint32_t imageVersion = 0;
    std::uint32_t deviceId = 0;
    QString outputPath;
    QList<FileData*> modules;
    QByteArray binaryPath;
    QByteArray templatePath;
    QString outputImagePath;
    std::uint8_t signatureSize = 0;  ///< the signature algorithm; there is one, number 0
    QString privateKeyPath;
    qsizetype currentIndex = 0;
    QList<FileOBK*> obkFiles;
    FileTBI* xtbiFile = nullptr;
    FileMCSV* mcsvFile = nullptr;
    FileECSV* ecsvFile = nullptr;
    QList<BackupRecord> backupSections;
    int pvsProtocol = 0;  ///< 0: bound to a PEM key, 1: to a root key table hash

  private:
    void scanArguments(const QStringList& arguments);
    Flow walkChain();
};
