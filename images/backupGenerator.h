#pragma once

#include "images/ProtectedItem.h"

#include <QList>

/// One file of a backup image. `Offset` counts bytes from the start of the backup memory.
struct BackupItem {
    QString Name{};
    QString Path{};
    std::uint32_t Offset = 0;
    ProtectionField Lock{};
    ProtectionField CID{};
    ProtectionField EncWrap{};
    ProtectionField KeySel{};
    ProtectionField KeySize{};
    ProtectionField Algorithm{};
    QString Nonce{};  ///< path of a nonce file, may be empty
    ProtectionField HDPL{};
};

/// Reads the backup document at `jsonPath` and prints what it lists. 0 on success, when `items` is replaced by the
/// files in document order; -1 with a message otherwise.
[[nodiscard]] int parseBackupJson(const QString& jsonPath, QList<BackupItem>& items);

/// Makes the backup image that the document at `jsonPath` describes, writes it to `outputPath` in the place of
/// whatever stands there, reads it back and lists it. Paths in the document that begin with "." count from its folder.
/// 0 on success; -2 if the document can't be read; -1 on any other fault. Every fault is reported. Nothing is written
/// unless all files pass; an overlap is found after the write and leaves the image on disk.
[[nodiscard]] int generateBackup(const QString& jsonPath, const QString& outputPath);

/// The same for a list made otherwise, `jsonPath` naming the document whose folder relative paths count from. 0 or -1;
/// an empty list is -1 without a message.
[[nodiscard]] int generateBackupFromItems(const QList<BackupItem>& items, const QString& jsonPath,
                                          const QString& outputPath);
