#include "preparation-interface/Preparation.h"

#include "Preparation/secureImages/installImage.h"
#include "images/backupGenerator.h"

#include <utility>

// Nothing is set up here: most runs of the tool never ask the library for anything.
Preparation::Preparation() = default;
Preparation::~Preparation() {
}  // not defaulted: a library in this one's place may have something to release here

void Preparation::setDisplayCallback(DisplayCallback callback) {
    Display::getInstance()->callback = callback;
}

// The interface takes its lists and texts by value, whatever is done with them.
// NOLINTBEGIN(performance-unnecessary-value-param)

// Whether a device takes its image in parts is told by the continuation token alone, so neither the device's number
// nor its flag has a say in what is made.
QByteArray Preparation::TBIPreparation(FileData* firmware, bool /*multiImageDevice*/, QList<FileOBK*> obkFiles,
                                       FileData* optionBytes, const QByteArray& key, const QByteArray& nonce,
                                       std::uint8_t imageVersion, bool hash, const QList<FileData*> modules,
                                       std::uint32_t ramSize, std::uint32_t continuationToken, FileTBI* xtbi,
                                       FileMCSV* mcsv, FileECSV* ecsv, std::uint32_t /*deviceId*/,
                                       FileData* externalFirmware, FileData* keyArea, FileData* diversification,
                                       QList<ExtBinInfo> externalBinInfos) {
    const InstallImageContent content{.packagedModule = xtbi,
                                      .provisioningData = std::move(obkFiles),
                                      .keyArea = keyArea,
                                      .diversification = diversification,
                                      .modules = modules,
                                      .moduleList = mcsv,
                                      .firmware = firmware,
                                      .externalFirmware = externalFirmware,
                                      .externalRegions = std::move(externalBinInfos),
                                      .externalModuleList = ecsv,
                                      .optionBytes = optionBytes,
                                      .imageVersion = imageVersion,
                                      .hash = hash,
                                      .ramSize = ramSize,
                                      .continuationToken = continuationToken};
    return makeInstallImage(content, key, nonce);
}

std::int32_t Preparation::backupPreparation(QString jsonPath, QString outputPath) {
    return generateBackup(jsonPath, outputPath);
}

// NOLINTEND(performance-unnecessary-value-param)
