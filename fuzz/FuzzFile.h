#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

/// The target of this run: the program's first argument.
[[nodiscard]] QByteArray fuzzTarget();
void setFuzzTarget(const QByteArray& name);

/// A temporary file with one fuzzer input. Its path ends with the suffix that the reader expects. All messages are
/// discarded from the first object on.
class FuzzFile {
  public:
    FuzzFile(const std::uint8_t* data, std::size_t size, const char* suffix);
    ~FuzzFile();
    FuzzFile(const FuzzFile&) = delete;
    FuzzFile& operator=(const FuzzFile&) = delete;

    [[nodiscard]] const QString& path() const { return path_; }
    /// A path in the same folder for an output. The destructor removes that file.
    [[nodiscard]] QString output() const { return path_ + QStringLiteral(".out"); }

  private:
    QString path_;
};
