#pragma once

#include "inspect/Evidence.h"
#include "inspect/formats.h"

#include <QStringList>

#include <optional>

namespace inspect {

struct SourcePiece {
    std::uint64_t address = 0;
    QByteArray bytes;
};

/// A backup image, and the address of the backup memory if it is known.
struct BackupSource {
    std::optional<std::uint64_t> address;
    QByteArray bytes;
};

/// The expected plain contents of an image, read from the files that it was made from.
struct Sources {
    Sources() = default;
    ~Sources();
    Sources(const Sources&) = delete;
    Sources& operator=(const Sources&) = delete;

    bool hasFirmware = false;
    std::vector<SourcePiece> firmware;
    bool hasOptionBytes = false;
    QByteArray optionBytes;
    std::vector<QByteArray> modules;  ///< in the order of the image
    std::vector<QByteArray> blobs;
    std::vector<BackupSource> backups;  ///< in the order of the image

    [[nodiscard]] bool isEmpty() const;
};

/// Reads firmware: ELF, Intel HEX, S-Record, or raw with its address after "@". `fillByte` fills gaps of up to 31 bytes
/// between segments. On failure `fault` says why.
[[nodiscard]] bool readFirmware(const QString& argument, std::vector<SourcePiece>& pieces, QString& fault,
                                std::uint8_t fillByte = 0xFF);

/// Reads a backup image, which may have the address of its memory after "@".
[[nodiscard]] bool readBackup(const QString& argument, BackupSource& backup, QString& fault);

/// Reads a table of option bytes as words, low byte first.
[[nodiscard]] bool readOptionBytes(const QString& path, QByteArray& words, QString& fault);

/// Reads a module in the form that an image contains. A `.hex` file is laid out from its first to its last address.
[[nodiscard]] bool readModule(const QString& path, QByteArray& module, QString& fault);

/// Adds the checks of the contents against their sources, and the differences between them. `file` is the file that the
/// contents come from.
void proveAgainst(const Sources& sources, const Contents& contents, QByteArrayView file, Description& description);

/// Marks the checks and ranges of a file that has no protection and whose contents are all equal to those that it was
/// compared with: the comparison is its proof. `isWhole` means that the whole file was compared, so that the same holds
/// for a file that isn't signed.
void settleByComparison(bool isWhole, Description& description);

}  // namespace inspect
