#pragma once

#include <QByteArrayView>
#include <QFile>

// Readers move back and forth in a file, ask for its size, and derive its kind from its name. These functions let them
// read pipes and bytes in memory.

/// A file that keeps its name when it is opened on another file handle.
class NamedFile : public QFile {
  public:
    explicit NamedFile(const QString& path) : QFile(path), path_(path) {}
    [[nodiscard]] QString fileName() const override { return path_; }

  private:
    const QString path_;
};

/// Opens `device` for reading on a copy of `bytes` in memory. The name of `device` has no effect. False if the system
/// provides no memory or no file descriptor.
[[nodiscard]] bool openOnBytes(QFile& device, QByteArrayView bytes);

enum class PipeStatus { done, tooLong, failed };

/// `device` is open for reading. If it isn't a regular file with content, but for example a pipe, this function reads
/// it to its end and opens it again on a copy of the bytes in memory. After more than `limit` bytes, it stops with
/// `tooLong`, because a device may never end.
[[nodiscard]] PipeStatus holdPipe(QFile& device, qint64 limit);

/// The same with a limit of 256 MiB. On failure it reports a message with `shown` as the file's name, and returns
/// false.
[[nodiscard]] bool takePipeWhole(QFile& device, const QString& shown);
