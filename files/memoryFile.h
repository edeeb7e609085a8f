#pragma once

#include <QByteArrayView>
#include <QFile>

// For readers, which go back and forth in a file, ask for its size and tell its kind by its name.

/// A file that keeps its name when it is opened on something else.
class NamedFile : public QFile {
  public:
    explicit NamedFile(const QString& path) : QFile(path), path_(path) {}
    [[nodiscard]] QString fileName() const override { return path_; }

  private:
    const QString path_;
};

/// Opens `device`, whatever its name, for reading on a copy of `bytes` in memory. False if there is no memory.
[[nodiscard]] bool openOnBytes(QFile& device, QByteArrayView bytes);

enum class PipeStatus { done, tooLong, failed };

/// If `device`, which is open for reading, is a pipe or device, reads it to its end and opens it anew on what came,
/// which is held in memory: at most `limit` bytes, since a device perhaps never ends.
[[nodiscard]] PipeStatus holdPipe(QFile& device, qint64 limit);

/// The same with a limit of 256 MiB. False, with a message that names the file as `shown`, if it fails.
[[nodiscard]] bool takePipeWhole(QFile& device, const QString& shown);
