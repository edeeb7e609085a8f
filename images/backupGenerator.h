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
    QString Nonce{};  ///< path of a nonce file; may be empty
    ProtectionField HDPL{};
};

/// Reads the backup document at `jsonPath` and prints its items. On success, replaces the content of `items` with the
/// document's files, in order, and returns 0. On failure, returns -1, with a message.
[[nodiscard]] int parseBackupJson(const QString& jsonPath, QList<BackupItem>& items);

/// Makes the backup image that the document at `jsonPath` describes, writes it to `outputPath`, reads it back and lists
/// it. An existing file is replaced. Paths in the document that begin with "." are relative to its folder. Returns 0 on
/// success, -2 if the document can't be read, and -1 on any other fault. Every fault is reported. The image is written
/// only if all files are valid. Overlaps are checked last, when the image is already written. An image with an overlap
/// isn't removed.
[[nodiscard]] int generateBackup(const QString& jsonPath, const QString& outputPath);

/// Does the same for a list of items. Relative paths start from the folder of the document `jsonPath`. Returns 0 on
/// success and -1 on failure. An empty list is a failure without a message.
[[nodiscard]] int generateBackupFromItems(const QList<BackupItem>& items, const QString& jsonPath,
                                          const QString& outputPath);
