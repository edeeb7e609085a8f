#pragma once

/// While one exists, SIGINT and SIGTERM don't end the process: they are noted, so that what was begun can be undone.
/// When it goes, the signal is raised again for whatever handled it before. One that is ignored stays ignored. There is
/// one at a time.
class Interruption {
  public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Whether a signal was noted.
    [[nodiscard]] static bool isPending();
};
