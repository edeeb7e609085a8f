#pragma once

#include <QDeadlineTimer>
#include <QMutex>
#include <QThread>
#include <QWaitCondition>

namespace ledger {

/// Shuts down a socket when a call on it takes too long.
///
/// libpq waits for an answer without a limit. The server's own limits (statement_timeout) don't help if the server is
/// stopped, and neither do those of TCP, because the server's kernel still acknowledges. After the socket is shut down,
/// libpq's wait ends with an error.
class Watchdog : private QThread {
  public:
    Watchdog() = default;
    ~Watchdog() override;

    /// From now until disarm(), the call on `socket` has `seconds`.
    void arm(int socket, int seconds);
    /// Whether the socket was shut down.
    bool disarm();

  private:
    void run() override;

    QMutex mutex_;
    QWaitCondition ended_;
    QDeadlineTimer deadline_;
    int socket_ = -1;
    bool hasFired_ = false;
    bool ends_ = false;
};

}  // namespace ledger
