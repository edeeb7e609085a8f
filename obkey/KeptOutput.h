#pragma once

#include "files/FileHandle.h"

#include <QByteArray>
#include <QString>

#include <sys/stat.h>

/// An output that another program writes in place: what was there before is kept until that program has succeeded. The
/// copy is a hidden file beside the output, ".older-" and six characters, so that it survives even if this process is
/// killed; where the folder has no room for it, it is in memory.
class KeptOutput {
  public:
    explicit KeptOutput(const QString& path);
    /// Removes the copy.
    ~KeptOutput();
    KeptOutput(const KeptOutput&) = delete;
    KeptOutput& operator=(const KeptOutput&) = delete;

    /// Copies an older file. False, with a message, if there is one and it can't be copied.
    [[nodiscard]] bool keep();
    /// Puts the older file back. If that fails, a message says so and names the copy, which stays.
    void putBack();
    /// Removes the output if there was none before.
    void removeNew() const;

  private:
    [[nodiscard]] bool copyBeside(const FileHandle& older);
    [[nodiscard]] bool isUnchanged() const;
    [[nodiscard]] bool writeOver() const;

    QByteArray path_;  ///< behind all links
    bool isThere_ = false;
    struct stat older_ {};
    FileHandle copy_;      ///< closed if there is nothing to keep
    QByteArray copyName_;  ///< empty if the copy is in memory
};
