#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

/// A folder for one test. The destructor removes it.
class TempFolder {
  public:
    TempFolder() {}  // not defaulted, so that a member of a fixture may be const
    /// The path of `name` inside the folder.
    [[nodiscard]] QString path(const char* name) const;
    /// Writes a file and returns its path.
    QString write(const char* name, const QByteArray& content) const;
    /// The content of a file; empty if it isn't there.
    [[nodiscard]] QByteArray read(const char* name) const;

  private:
    QTemporaryDir folder_;
};

/// The bytes of any file; empty if it can't be read.
[[nodiscard]] QByteArray fileContent(const QString& path);
