#pragma once

#include <QString>

#include <cstdint>

#include <sys/types.h>

namespace ledger {

struct Fault;

/// The file of an SQLite ledger: its kind, its place, and the stations that use it. SQLite itself doesn't check these.
///
/// POSIX drops all of a process's locks on a file as soon as the process closes any descriptor of it, also those of
/// SQLite. So the descriptor of look() stays open until no object of the process is on the file, and an object must
/// live longer than the SQLite connection.
class SqliteFile {
  public:
    SqliteFile() = default;
    ~SqliteFile();
    SqliteFile(const SqliteFile&) = delete;
    SqliteFile& operator=(const SqliteFile&) = delete;

    /// Reads the header without SQLite, which could make files beside it. Refuses files that aren't ledgers, newer
    /// ledgers, and network file systems.
    [[nodiscard]] bool look(const QString& path, Fault& fault);
    /// Locks a station's name until the object is destroyed, also against other objects of this process.
    [[nodiscard]] bool lockStation(const QString& station, Fault& fault);
    /// Whether the path still leads to the file. A file that was replaced would take commits and lose them.
    [[nodiscard]] bool isInPlace() const;

  private:
    QString path_;
    bool isCounted_ = false;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    int lock_ = -1;
};

/// The name of a network file system, on which SQLite's WAL doesn't work; empty for others. `type` is f_type of statfs,
/// `mountType` the type in /proc/self/mountinfo, which distinguishes the file systems of FUSE.
[[nodiscard]] QString networkFileSystem(std::uint64_t type, const QString& mountType);

/// Refuses a path on a network file system.
[[nodiscard]] bool checkFileSystem(const QString& path, Fault& fault);

}  // namespace ledger
