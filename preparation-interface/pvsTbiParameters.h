#pragma once

#include "files/FileData.h"
#include "images/backupImage.h"

#include <QByteArray>
#include <QList>

/// One backup memory: its base address and the sections that go there.
struct BackupRecord {
    std::uint32_t address = 0;
    QList<BackupSegment> sections{};
};

/// What a provisioning image in install-image format is made of.
struct pvsTbiParameters {
    QByteArray blob{};
    QList<BackupRecord> backupSections{};
    QByteArray key{};
    QByteArray nonce{};
    std::uint8_t imageVersion = 0;
    QList<FileData*> firmwares{};
};
