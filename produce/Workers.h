#pragma once

#include "files/FileHandle.h"
#include "produce/DeviceTask.h"

#include <sys/types.h>

#include <deque>
#include <vector>

namespace produce {

struct Making;

/// The worker processes of a run. They are started first of all, while the runner has one thread, no application object
/// and no ledger, so that no child inherits a connection or a lock.
class Workers {
  public:
    Workers() = default;
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    [[nodiscard]] bool start(int count, const Making& making);

    [[nodiscard]] qsizetype count() const { return static_cast<qsizetype>(workers_.size()); }
    /// Whether a worker has room for another task. Each accepts two, so that it needn't wait for the runner.
    [[nodiscard]] bool hasRoom() const;
    /// Whether any worker still runs.
    [[nodiscard]] bool isAlive() const;
    /// Sends a task to the worker with the fewest tasks. False if no worker can take it.
    [[nodiscard]] bool send(const DeviceTask& task);

    /// The sockets to poll for results, -1 for a worker that ended.
    [[nodiscard]] std::vector<int> sockets() const;
    /// Receives the results of worker `index`. If the worker has ended, its tasks have failed.
    void receiveFrom(std::size_t index, QList<DeviceResult>& results);

    /// Kills all workers and the processes that they started.
    void kill();

  private:
    struct Worker {
        pid_t process = -1;
        FileHandle socket;
        QByteArray received;
        std::deque<quint64> tasks;
    };

    void bury(Worker& worker, QList<DeviceResult>& results);

    std::vector<Worker> workers_;
};

}  // namespace produce
