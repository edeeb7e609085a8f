#pragma once

#include "files/FileHandle.h"
#include "ledger/Ledger.h"

#include <QString>

namespace produce {

/// The folders of a production line's outputs:
///
///   OUT/SERIAL/                   the files of a proven device
///   OUT/void/SERIAL-ATTEMPT/      the files of an attempt that isn't proven, or was recalled
///   OUT/record.jsonl              the record
///   OUT/.qvora/STATION/making/    the devices in progress
///   OUT/.qvora/STATION/head.json  the last known head of the ledger
class LineFolders {
  public:
    /// Makes the folders that don't exist.
    [[nodiscard]] bool open(const QString& out, const QString& station, QString& fault);

    [[nodiscard]] const QString& out() const { return out_; }
    [[nodiscard]] QString headPath() const { return station_ + QStringLiteral("/head.json"); }
    [[nodiscard]] QString recordPath() const { return out_ + QStringLiteral("/record.jsonl"); }
    [[nodiscard]] QString makingPath(const QString& serial) const;
    [[nodiscard]] QString devicePath(const QString& serial) const;

    /// Moves the folder of a proven device from `making` to OUT/SERIAL. An older folder there, of a recalled attempt,
    /// is moved to `void`.
    [[nodiscard]] bool publish(const ledger::Attempt& attempt, QString& fault) const;
    /// Moves the files of an attempt in progress to `void`. With `isPublished`, also moves the device's folder.
    [[nodiscard]] bool discard(const ledger::Attempt& attempt, bool isPublished, QString& fault) const;
    /// Waits until all files and names in the file system of the folder are on the disk.
    [[nodiscard]] bool flush(QString& fault) const;

  private:
    [[nodiscard]] bool moveToVoid(const QString& path, const ledger::Attempt& attempt, QString& fault) const;

    QString out_;
    QString station_;
    FileHandle folder_;
};

}  // namespace produce
