#pragma once

namespace obkey {

/// Delays SIGINT and SIGTERM. While an object exists, these signals don't end the process; they are only recorded, so
/// that the caller can undo its work. The destructor restores the previous handlers and raises the recorded signal
/// again. A signal that the process ignored before stays ignored. At most one object exists at a time.
class Interruption {
  public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Whether a signal was recorded.
    [[nodiscard]] static bool isPending();
};

}  // namespace obkey
