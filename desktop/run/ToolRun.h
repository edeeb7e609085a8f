#pragma once

#include "desktop/run/AnsiText.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTimer>

class QSocketNotifier;

namespace desktop {

/// How a run ended.
struct ToolEnd {
    enum class Kind {
        ended,       ///< by itself, with `status`
        crashed,     ///< by the signal `status`
        stopped,     ///< at the caller's request
        notStarted,  ///< because of `reason`
    };

    Kind kind = Kind::ended;
    int status = 0;
    qint64 milliseconds = 0;
    QString reason;
};

/// Runs one program at a time, as a child in a session of its own. Its output goes to a pseudo-terminal, because the
/// tool colours its messages only for a terminal and buffers them for a pipe. The terminal is raw, so the bytes arrive
/// unchanged. There is no input.
class ToolRun : public QObject {
    Q_OBJECT

  public:
    explicit ToolRun(QObject* parent = nullptr);
    /// Ends the running program and waits for its end.
    ~ToolRun() override;

    /// Starts `program`, a path, in `folder`. Does nothing while a program runs. Reports a failure later through
    /// `ended`.
    void start(const QString& program, const QStringList& arguments, const QString& folder);
    /// Asks the program and all its children to end, and kills the rest after three seconds.
    void stop();

    [[nodiscard]] bool isRunning() const;
    [[nodiscard]] bool isStopping() const;
    [[nodiscard]] qint64 milliseconds() const;

  signals:
    void output(const QList<StyledText>& texts);
    /// Nothing runs any more, and all output was emitted.
    void ended(const ToolEnd& end);

  private:
    [[nodiscard]] bool openTerminal(int& slave, QString& fault);
    void closeTerminal();
    /// Reads and emits at most about `limit` bytes.
    void read(qsizetype limit);
    void childEnded(int status, QProcess::ExitStatus how);
    void waitForGroup();
    void signalGroup(int number) const;
    [[nodiscard]] bool groupLives() const;
    void fail(const QString& reason);
    void end();

    QProcess* process_ = nullptr;
    QSocketNotifier* notifier_ = nullptr;
    QTimer killTimer_;
    QTimer groupTimer_;
    QTimer failTimer_;
    QElapsedTimer clock_;
    AnsiText decoder_;
    ToolEnd end_;
    qint64 group_ = 0;
    int terminal_ = -1;
    bool running_ = false;
    bool stopping_ = false;
    QDeadlineTimer abandonAt_;  ///< when to stop waiting for the processes that a kill left
};

}  // namespace desktop
