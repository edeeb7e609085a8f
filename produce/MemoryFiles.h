#pragma once

#include <QByteArray>
#include <QList>

namespace produce {

/// Files in memory with the nonces and keys of a device. The steps read the first one at
/// /proc/self/fd/`firstMemoryFile`, the next ones at the numbers after it.
class MemoryFiles {
  public:
    MemoryFiles() = default;
    ~MemoryFiles();
    MemoryFiles(const MemoryFiles&) = delete;
    MemoryFiles& operator=(const MemoryFiles&) = delete;

    [[nodiscard]] bool make(const QList<QByteArray>& contents);

  private:
    int count_ = 0;
};

}  // namespace produce
