#pragma once

#include <QObject>
#include <QProcess>
#include <QTimer>

namespace desktop {

/// The path of a program of this project: beside the tool, or on the PATH. Empty if it isn't installed.
[[nodiscard]] QString programPath(const QString& toolPath, const QString& name);

/// Runs one command of such a program at a time and collects what it prints.
class ProgramRun : public QObject {
    Q_OBJECT

  public:
    struct Result {
        int status = -1;  ///< -1: it didn't run, or was ended after `patience`
        QByteArray output;
        QString faults;  ///< standard error, or why there is no status
    };
    static constexpr int patience = 30000;  ///< milliseconds

    explicit ProgramRun(QObject* parent = nullptr);
    ~ProgramRun() override;

    /// Starts the program. A command that still runs is ended, and its result is dropped.
    /// The program reads `input` from its standard input.
    void start(const QString& program, const QStringList& arguments, const QByteArray& input = {});
    [[nodiscard]] bool isRunning() const { return process_ != nullptr; }

  signals:
    void ended(const desktop::ProgramRun::Result& result);

  private:
    [[nodiscard]] QString name() const;
    void finish(const Result& result);
    void drop();

    QProcess* process_ = nullptr;
    QTimer timer_;
};

}  // namespace desktop
