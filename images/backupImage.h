#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <cstdint>

/// One record of a backup image.
struct BackupSegment {
    std::uint32_t offset = 0;
    std::uint32_t protection = 0;
    std::uint32_t size = 0;  ///< bytes of data, the nonce's 16 bytes included
    QByteArray record{};     ///< the record's raw bytes, its 12-byte header included
};

/// Wipes the records that have no other owner.
void wipeRecords(QList<BackupSegment>& segments);

/// Reads the backup image at `path`, or the `image` of that name in memory. 0 on success, when `segments` is replaced;
/// -1 with a message otherwise. An image may have 65,535 records.
[[nodiscard]] int parseBackupImage(const QString& path, QList<BackupSegment>& segments);
[[nodiscard]] int parseBackupImage(QByteArrayView image, const QString& path, QList<BackupSegment>& segments);

/// True when no two segments overlap; every overlap is reported. A nonce takes no room on the device.
[[nodiscard]] bool checkBackupOverlap(const QList<BackupSegment>& segments);
