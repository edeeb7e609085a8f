#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

/// A real PostgreSQL server with a data folder of its own, on a socket of its own, with fsync. It runs as an ordinary
/// user, because it refuses root. The superuser's role is "owner".
class PostgresServer {
  public:
    /// The server of this program, started by the first call. Its fault() is empty if it runs.
    static PostgresServer& instance();
    ~PostgresServer();
    PostgresServer(const PostgresServer&) = delete;
    PostgresServer& operator=(const PostgresServer&) = delete;

    [[nodiscard]] const QString& fault() const { return fault_; }
    [[nodiscard]] QString socketFolder() const { return folder_.path(); }
    /// A new, empty database.
    [[nodiscard]] QString newDatabase();
    [[nodiscard]] QString url(const QString& database, const QString& role) const;
    /// Runs SQL by psql. Returns its output, and its errors if it fails.
    QByteArray psql(const QString& database, const QString& role, const QByteArray& sql) const;

    /// Gives a folder to the user of the server.
    void own(const QString& path) const;

    /// Sends a signal to the server and all its processes.
    void signalAll(int number) const;
    /// Ends all processes by SIGKILL and starts the server again.
    void crash();
    void kill();
    [[nodiscard]] bool start();

  private:
    PostgresServer();
    [[nodiscard]] bool initialize();
    [[nodiscard]] QString program(const char* name) const;
    [[nodiscard]] QByteArray run(const char* name, const QStringList& arguments, const QByteArray& input,
                                 bool& isGood) const;

    QTemporaryDir folder_;
    QString binaries_;
    QString fault_;
    QProcess server_;
    int databases_ = 0;
};
