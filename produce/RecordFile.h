#pragma once

#include "files/FileHandle.h"
#include "ledger/Ledger.h"

#include <QString>

#include <span>

namespace produce {

/// The file with a station's record. The ledger has the same lines, and counts if they differ: lines that the file
/// lacks are added when a run starts.
class RecordFile {
  public:
    /// Opens the file for this process alone, and adds the lines that only the ledger has. A last line that a crash cut
    /// off is removed. Refuses a file with lines that the ledger doesn't have: that ledger is older than the file, or
    /// another one.
    [[nodiscard]] bool open(const QString& path, ledger::Ledger& ledger, QString& fault);
    [[nodiscard]] bool append(std::span<const ledger::RecordRow> lines, QString& fault);
    /// Waits until all lines are on the disk.
    [[nodiscard]] bool flush(QString& fault) const;
    [[nodiscard]] const QString& path() const { return path_; }

  private:
    [[nodiscard]] bool fail(QString& fault, const char* what) const;
    [[nodiscard]] bool findEnd(QByteArray& lastLine, qint64& end, QString& fault) const;
    [[nodiscard]] bool addMissing(qint64 after, ledger::Ledger& ledger, QString& fault);

    QString path_;
    FileHandle file_;
};

/// The number of a record's line, read from the line; 0 if it has none.
[[nodiscard]] qint64 numberOf(QByteArrayView line);

}  // namespace produce
