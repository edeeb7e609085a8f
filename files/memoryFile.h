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

/// Opens `device` for reading on a copy of `bytes` in memory. The name of `device` has no effect. False if there isn't
/// enough memory.
[[nodiscard]] bool openOnBytes(QFile& device, QByteArrayView bytes);

enum class PipeStatus { done, tooLong, failed };

/// `device` is open for reading. If it is a pipe or device, this function reads it to its end and opens it again on a
/// copy of the bytes in memory. It accepts at most `limit` bytes, because a device may never end.
[[nodiscard]] PipeStatus holdPipe(QFile& device, qint64 limit);

/// The same with a limit of 256 MiB. On failure it reports a message with `shown` as the file's name, and returns
/// false.
[[nodiscard]] bool takePipeWhole(QFile& device, const QString& shown);
