#pragma once

#include "files/FileData.h"
#include "images/backupImage.h"

#include <QByteArray>
#include <QList>

/// One backup memory: its base address and its sections.
struct BackupRecord {
    std::uint32_t address = 0;
    QList<BackupSegment> sections{};
};

/// The content of a provisioning image in install-image format.
struct pvsTbiParameters {
    QByteArray blob{};
    QList<BackupRecord> backupSections{};
    QByteArray key{};
    QByteArray nonce{};
    std::uint8_t imageVersion = 0;
    QList<FileData*> firmwares{};
};
