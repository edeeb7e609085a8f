#pragma once

#include <QString>

namespace produce {

struct RunCounts {
    qint64 proven = 0;  ///< by this run
    qint64 provenBefore = 0;
    qint64 failed = 0;
    qint64 interrupted = 0;
    qint64 held = 0;  ///< by other stations

    [[nodiscard]] qint64 ended() const { return proven + provenBefore + failed + interrupted; }
};

/// Receives the events of a run.
class RunListener {
  public:
    enum class Verdict { proven, provenBefore, failed, interrupted, held };

    RunListener() = default;
    virtual ~RunListener() = default;
    RunListener(const RunListener&) = delete;
    RunListener& operator=(const RunListener&) = delete;

    /// A device has ended, and its end is committed.
    virtual void deviceEnded(const QString& serial, Verdict verdict, const QString& reason) = 0;
    virtual void checkpointWritten() = 0;
    /// Something that the user should know.
    virtual void warn(const QString& text) = 0;
    /// Called at least once a second.
    virtual void progressed(const RunCounts& counts) = 0;
};

}  // namespace produce
