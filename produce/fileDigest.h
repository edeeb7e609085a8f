#pragma once

#include "produce/DeviceTask.h"

#include <QHash>

#include <sys/stat.h>

namespace produce {

/// Sets size and SHA-256 of the file at `path`.
[[nodiscard]] bool digestFile(const QString& path, FileDigest& digest);

/// Digests of files that many devices read. A file is read again only if its size, its times or its inode changed.
class DigestCache {
  public:
    [[nodiscard]] bool digest(const QString& path, FileDigest& digest);
    /// Whether the file is unchanged since its digest was asked for last.
    [[nodiscard]] bool isUnchanged(const QString& path) const;

  private:
    struct Entry {
        struct stat status {};
        qint64 size = 0;
        QByteArray sha256;
    };
    QHash<QString, Entry> entries_;
};

}  // namespace produce
