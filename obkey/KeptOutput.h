#pragma once

#include "files/FileHandle.h"

#include <QByteArray>
#include <QString>

#include <sys/stat.h>

namespace obkey {

/// Keeps a copy of an output file that another program overwrites, until that program has succeeded. The copy is a
/// hidden file in the folder of the output, named ".older-" and six characters, so that it survives even if this
/// process is killed. If no file can be created there, the copy is in memory.
class KeptOutput {
  public:
    explicit KeptOutput(const QString& path);
    /// Removes the copy.
    ~KeptOutput();
    KeptOutput(const KeptOutput&) = delete;
    KeptOutput& operator=(const KeptOutput&) = delete;

    /// Copies the file at the output's path, if there is one. False, with a message, if it can't be copied.
    [[nodiscard]] bool keep();
    /// Puts the older file back. If that fails, a message names the copy, which isn't removed.
    void putBack();
    /// Removes the output if there was none before.
    void removeNew() const;

  private:
    [[nodiscard]] bool copyBeside(const FileHandle& older);
    [[nodiscard]] bool isUnchanged() const;
    [[nodiscard]] bool writeOver() const;

    QByteArray path_;  ///< with all symbolic links resolved
    bool isThere_ = false;
    struct stat older_ {};
    FileHandle copy_;      ///< closed if there is nothing to keep
    QByteArray copyName_;  ///< empty if the copy is in memory
};

}  // namespace obkey
