#pragma once

#include "desktop/run/AnsiText.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTimer>

class QSocketNotifier;

/// How a run came to its end.
struct ToolEnd {
    enum class Kind {
        ended,       ///< by itself, with `status`
        crashed,     ///< by the signal `status`
        stopped,     ///< because it was asked to
        notStarted,  ///< for `reason`
    };

    Kind kind = Kind::ended;
    int status = 0;
    qint64 milliseconds = 0;
    QString reason;
};

/// One program at a time, as a child in a session of its own. Its output goes to a pseudo-terminal, since the tool
/// colours its messages for a terminal only, and holds them back for a pipe. The terminal is raw, so the bytes come as
/// they were written. There is no input.
class ToolRun : public QObject {
    Q_OBJECT

  public:
    explicit ToolRun(QObject* parent = nullptr);
    /// Ends what runs, and waits for its end.
    ~ToolRun() override;

    /// Starts `program`, a path, in `folder`. Nothing happens while one runs. A fault comes as `ended`, later.
    void start(const QString& program, const QStringList& arguments, const QString& folder);
    /// Asks the program and all that it has started to end, and kills what is left three seconds later.
    void stop();

    [[nodiscard]] bool isRunning() const;
    [[nodiscard]] bool isStopping() const;
    [[nodiscard]] qint64 milliseconds() const;

  signals:
    void output(const QList<StyledText>& texts);
    /// Nothing runs any longer, and all output was given.
    void ended(const ToolEnd& end);

  private:
    [[nodiscard]] bool openTerminal(int& slave, QString& fault);
    void closeTerminal();
    /// Gives on what has come, `limit` bytes at most.
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
    QDeadlineTimer abandonAt_;  ///< when what a kill has left isn't waited for any longer
};
