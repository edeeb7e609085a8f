#pragma once

#include "files/FileHandle.h"

#include <QByteArray>

#include <csignal>

/// The name of a file that isn't complete. The file is removed with this object, and by removeUnfinishedFiles.
class UnfinishedFile {
  public:
    UnfinishedFile() = default;
    ~UnfinishedFile();
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    /// Makes a file that only its owner can read and write, called ".qvora-" and six characters and `suffix`. `folder`
    /// ends with '/' or is empty. Closed, with the reason in errno, if the folder takes none. Called once.
    [[nodiscard]] FileHandle create(const QByteArray& folder, const QByteArray& suffix = {});
    /// Leaves the file where it is, or what has taken its name.
    void release();

    [[nodiscard]] bool exists() const { return !name_.isEmpty(); }
    [[nodiscard]] const char* name() const { return name_.constData(); }

  private:
    QByteArray name_;
};

/// Removes the file of every UnfinishedFile. Allocates nothing: signal handlers may call it.
void removeUnfinishedFiles();

/// The signals that a user or a system ends a run with.
inline constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};

/// Holds the ending signals back from its construction to its destruction.
class EndingSignalsHeld {
  public:
    EndingSignalsHeld();
    ~EndingSignalsHeld();
    EndingSignalsHeld(const EndingSignalsHeld&) = delete;
    EndingSignalsHeld& operator=(const EndingSignalsHeld&) = delete;

  private:
    sigset_t before_{};
};
