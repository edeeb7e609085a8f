#pragma once

#include <QObject>
#include <QProcess>
#include <QTimer>

namespace desktop {

/// The path of qvora-produce: beside the tool, or on the PATH. Empty if it isn't installed.
[[nodiscard]] QString runnerPath(const QString& toolPath);

/// Runs one command of qvora-produce at a time and collects what it prints.
class Runner : public QObject {
    Q_OBJECT

  public:
    struct Result {
        int status = -1;  ///< -1: it didn't run, or was ended after `patience`
        QByteArray output;
        QString faults;  ///< standard error, or why there is no status
    };
    static constexpr int patience = 30000;  ///< milliseconds

    explicit Runner(QObject* parent = nullptr);
    ~Runner() override;

    /// Starts the program. A command that still runs is ended, and its result is dropped.
    void start(const QString& program, const QStringList& arguments);
    [[nodiscard]] bool isRunning() const { return process_ != nullptr; }

  signals:
    void ended(const desktop::Runner::Result& result);

  private:
    void finish(const Result& result);
    void drop();

    QProcess* process_ = nullptr;
    QTimer timer_;
};

}  // namespace desktop
