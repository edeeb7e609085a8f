#pragma once

#include "files/FileHandle.h"

#include <QByteArray>

#include <csignal>

/// The name of a file that isn't complete. The destructor and removeUnfinishedFiles() remove the file.
class UnfinishedFile {
  public:
    UnfinishedFile() = default;
    ~UnfinishedFile();
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    /// Creates a file that only its owner can read and write. Its name is ".qvora-", six characters and `suffix`.
    /// `folder` ends with '/' or is empty. If the folder accepts no file, the result is closed and errno contains the
    /// reason. Call this once.
    [[nodiscard]] FileHandle create(const QByteArray& folder, const QByteArray& suffix = {});
    /// Forgets the name without removing the file.
    void release();

    [[nodiscard]] bool exists() const { return !name_.isEmpty(); }
    [[nodiscard]] const char* name() const { return name_.constData(); }

  private:
    QByteArray name_;
};

/// Removes the file of every UnfinishedFile. Allocates nothing: signal handlers may call it.
void removeUnfinishedFiles();

/// The signals with which a user or the system ends a run.
inline constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};

/// Blocks the ending signals from its construction to its destruction.
class EndingSignalsHeld {
  public:
    EndingSignalsHeld();
    ~EndingSignalsHeld();
    EndingSignalsHeld(const EndingSignalsHeld&) = delete;
    EndingSignalsHeld& operator=(const EndingSignalsHeld&) = delete;

  private:
    sigset_t before_{};
};
