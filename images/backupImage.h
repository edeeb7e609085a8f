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

/// Wipes the records whose bytes no other array shares.
void wipeRecords(QList<BackupSegment>& segments);

/// Reads a backup image: either the file at `path`, or `image` in memory, which messages call `path`. On success,
/// replaces `segments` and returns 0. On failure, returns -1, with a message. An image has at most 65,535 records.
[[nodiscard]] int parseBackupImage(const QString& path, QList<BackupSegment>& segments);
[[nodiscard]] int parseBackupImage(QByteArrayView image, const QString& path, QList<BackupSegment>& segments);

/// Checks that no two segments overlap, and reports every overlap. A nonce occupies no memory on the device.
[[nodiscard]] bool checkBackupOverlap(const QList<BackupSegment>& segments);
