#include "preparation-interface/Preparation.h"

#include "Preparation/secureImages/installImage.h"
#include "images/backupGenerator.h"

#include <utility>

// The constructor does nothing, because most runs of the tool don't use the library.
Preparation::Preparation() = default;
// The destructor isn't defaulted, because a library that replaces this one may release something in it.
Preparation::~Preparation() {
}

void Preparation::setDisplayCallback(DisplayCallback callback) {
    Display::getInstance()->callback = callback;
}

// The interface requires that lists and texts are passed by value.
// NOLINTBEGIN(performance-unnecessary-value-param)

// Only the continuation token decides whether the image consists of parts. `multiImageDevice` and `deviceId` have no
// effect.
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
