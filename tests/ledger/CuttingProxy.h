#pragma once

#include <QMutex>
#include <QString>
#include <QThread>

/// A socket between a client and the PostgreSQL server that cuts the connection around a COMMIT.
class CuttingProxy : private QThread {
  public:
    enum class Cut {
        never,
        beforeCommit,  ///< the server never gets the COMMIT
        afterCommit,   ///< the server commits, but the client never gets the answer
    };
    /// Listens in `folder` under the name of a server's socket, and connects to the server's socket in `serverFolder`.
    CuttingProxy(const QString& folder, const QString& serverFolder);
    ~CuttingProxy() override;

    /// Cuts the connection at the next COMMIT, once.
    void cutNext(Cut cut);

  private:
    void run() override;
    void forward(int client, int server);
    [[nodiscard]] Cut takeCut();

    QString serverFolder_;
    int listener_ = -1;
    int stop_[2] = {-1, -1};
    QMutex mutex_;
    Cut cut_ = Cut::never;
};
