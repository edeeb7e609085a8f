#pragma once

#include "files/FileOBK.h"
#include "formats/FileECSV.h"
#include "formats/FileMCSV.h"
#include "formats/FileTBI.h"
#include "preparation-interface/ExtBinInfo.h"

#include <QByteArray>
#include <QList>

/// The content of an install image. A null pointer or an empty list means that the image lacks that part.
struct InstallImageContent {
    const FileTBI* packagedModule = nullptr;  ///< a FileTBI only if fileType is TBI or XTBI, otherwise a FileData
    QList<FileOBK*> provisioningData{};
    const FileData* keyArea = nullptr;
    const FileData* diversification = nullptr;
    QList<FileData*> modules{};
    const FileMCSV* moduleList = nullptr;
    const FileData* firmware = nullptr;
    const FileData* externalFirmware = nullptr;
    QList<ExtBinInfo> externalRegions{};  ///< the first record with a segment's address applies to the segment
    const FileECSV* externalModuleList = nullptr;
    const FileData* optionBytes = nullptr;
    std::uint8_t imageVersion = 0;
    bool hash = false;
    std::uint32_t ramSize = 0;            ///< bytes; 0 for no limit
    std::uint32_t continuationToken = 0;  ///< address; 0 for an image in one part
};

/// Makes an install image under a 16-byte key and a nonce of any length. Empty, with a message, on failure.
[[nodiscard]] QByteArray makeInstallImage(const InstallImageContent& content, const QByteArray& key,
                                          const QByteArray& nonce);
