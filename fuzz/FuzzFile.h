#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

/// The target that this run of the program serves: its first argument.
[[nodiscard]] QByteArray fuzzTarget();
void setFuzzTarget(const QByteArray& name);

/// A file in memory that holds one fuzzer input, under a path that ends as the reader asks for. All messages are
/// swallowed while it lives.
class FuzzFile {
  public:
    FuzzFile(const std::uint8_t* data, std::size_t size, const char* suffix);
    ~FuzzFile();
    FuzzFile(const FuzzFile&) = delete;
    FuzzFile& operator=(const FuzzFile&) = delete;

    [[nodiscard]] const QString& path() const { return path_; }
    /// A path beside it, for what is written; the file is gone with this object.
    [[nodiscard]] QString output() const { return path_ + QStringLiteral(".out"); }

  private:
    QString path_;
};
