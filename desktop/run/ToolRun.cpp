#include "desktop/run/ToolRun.h"

#include <QDir>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QSocketNotifier>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/types.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace desktop {

namespace {

constexpr int killAfter = 3000;       // milliseconds
constexpr int groupPollEvery = 20;    // milliseconds
constexpr int groupGoneWithin = 500;  // milliseconds after a kill; only unreaped zombies live longer

// The limit for one turn of the event loop. It keeps the window responsive during much output.
constexpr qsizetype readAtOnce = 65'536;
// A terminal buffers far less than this. The limit ends the reading if a process outlives the tool and keeps writing.
constexpr qsizetype readAtEnd = 4'194'304;

constexpr unsigned short columns = 120;
constexpr unsigned short rows = 40;

QString textOfError(int number) {
    return QString::fromLocal8Bit(std::strerror(number));  // NOLINT(concurrency-mt-unsafe)
}

}  // namespace

ToolRun::ToolRun(QObject* parent) : QObject(parent) {
    killTimer_.setSingleShot(true);
    killTimer_.setInterval(killAfter);
    connect(&killTimer_, &QTimer::timeout, this, [this] {
        abandonAt_.setRemainingTime(groupGoneWithin);
        signalGroup(SIGKILL);
    });
    failTimer_.setSingleShot(true);
    connect(&failTimer_, &QTimer::timeout, this, &ToolRun::end);
    groupTimer_.setInterval(groupPollEvery);
    connect(&groupTimer_, &QTimer::timeout, this, &ToolRun::waitForGroup);
}

ToolRun::~ToolRun() {
    if (process_ != nullptr) {
        process_->disconnect(this);
        if (process_->state() != QProcess::NotRunning) {
            constexpr int patience = 1000;
            signalGroup(SIGTERM);
            process_->waitForFinished(patience);
            signalGroup(SIGKILL);
            process_->waitForFinished(patience);
        } else if (isStopping()) {
            signalGroup(SIGKILL);
        }
    }
    closeTerminal();
}

void ToolRun::start(const QString& program, const QStringList& arguments, const QString& folder) {
    if (running_) {
        return;
    }
    running_ = true;
    stopping_ = false;
    abandonAt_ = QDeadlineTimer(QDeadlineTimer::Forever);
    group_ = 0;
    end_ = {};
    clock_.start();

    const QFileInfo file(program);
    if (!file.isFile()) {
        fail(tr("There is no program “%1”.").arg(QDir::toNativeSeparators(program)));
        return;
    }
    if (!file.isExecutable()) {
        fail(tr("“%1” may not be run: it has no permission for that.").arg(QDir::toNativeSeparators(program)));
        return;
    }
    if (!folder.isEmpty() && !QFileInfo(folder).isDir()) {
        fail(tr("There is no folder “%1” to run in.").arg(QDir::toNativeSeparators(folder)));
        return;
    }
    int slave = -1;
    QString fault;
    if (!openTerminal(slave, fault)) {
        fail(tr("No terminal is available: %1.").arg(fault));
        return;
    }

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("NO_COLOR"));
    process_ = new QProcess(this);
    process_->setProcessEnvironment(environment);
    process_->setWorkingDirectory(folder);
    process_->setStandardInputFile(QProcess::nullDevice());
    process_->setProcessChannelMode(QProcess::ForwardedChannels);
    // This runs between fork and exec and must not allocate. The new session has its own process group, so that one
    // signal reaches all its processes. The child also loses the terminal from which this program was started.
    process_->setChildProcessModifier([slave] {
        ::setsid();
        ::dup2(slave, STDOUT_FILENO);
        ::dup2(slave, STDERR_FILENO);
    });
    connect(process_, &QProcess::started, this, [this] {
        group_ = process_->processId();
        if (stopping_) {
            signalGroup(SIGTERM);
        }
    });
    connect(process_, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            fail(tr("The program can't be started: %1.").arg(process_->errorString()));
        }
    });
    connect(process_, &QProcess::finished, this, &ToolRun::childEnded);
    process_->start(program, arguments);
    ::close(slave);
}

void ToolRun::stop() {
    if (!running_ || stopping_) {
        return;
    }
    stopping_ = true;
    killTimer_.start();
    signalGroup(SIGTERM);
}

bool ToolRun::isRunning() const {
    return running_;
}

bool ToolRun::isStopping() const {
    return running_ && stopping_;
}

qint64 ToolRun::milliseconds() const {
    return clock_.isValid() ? clock_.elapsed() : 0;
}

bool ToolRun::openTerminal(int& slave, QString& fault) {
    terminal_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    std::array<char, 128> name{};
    bool good = terminal_ >= 0 && ::grantpt(terminal_) == 0 && ::unlockpt(terminal_) == 0 &&
                ::ptsname_r(terminal_, name.data(), name.size()) == 0;
    if (good) {
        slave = ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        good = slave >= 0;
    }
    termios mode{};
    if (good && ::tcgetattr(slave, &mode) == 0) {
        ::cfmakeraw(&mode);
        winsize size{};
        size.ws_col = columns;
        size.ws_row = rows;
        good = ::tcsetattr(slave, TCSANOW, &mode) == 0 && ::ioctl(slave, TIOCSWINSZ, &size) == 0 &&
               ::fcntl(terminal_, F_SETFL, O_NONBLOCK) == 0;
    } else {
        good = false;
    }
    if (!good) {
        fault = textOfError(errno);
        if (slave >= 0) {
            ::close(slave);
        }
        closeTerminal();
        return false;
    }
    notifier_ = new QSocketNotifier(terminal_, QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] { read(readAtOnce); });
    return true;
}

void ToolRun::closeTerminal() {
    if (notifier_ != nullptr) {
        notifier_->setEnabled(false);
        std::exchange(notifier_, nullptr)->deleteLater();  // the notifier may be the caller
    }
    if (terminal_ >= 0) {
        ::close(std::exchange(terminal_, -1));
    }
}

void ToolRun::read(qsizetype limit) {
    QByteArray bytes;
    while (bytes.size() < limit && terminal_ >= 0) {
        std::array<char, 4096> buffer;
        const ssize_t count = ::read(terminal_, buffer.data(), buffer.size());
        if (count > 0) {
            bytes.append(buffer.data(), count);
        } else if (count == 0 || errno != EINTR) {
            // After the last process has closed the other end, the notifier would fire again and again.
            if (count == 0 || errno != EAGAIN) {
                notifier_->setEnabled(false);
            }
            break;
        }
    }
    const QList<StyledText> texts = decoder_.take(bytes);
    if (!texts.isEmpty()) {
        emit output(texts);
    }
}

void ToolRun::childEnded(int status, QProcess::ExitStatus how) {
    end_.kind = stopping_                     ? ToolEnd::Kind::stopped
                : how == QProcess::NormalExit ? ToolEnd::Kind::ended
                                              : ToolEnd::Kind::crashed;
    end_.status = status;
    if (stopping_) {
        groupTimer_.start();
        waitForGroup();
    } else {
        end();
    }
}

void ToolRun::waitForGroup() {
    if (!groupLives() || abandonAt_.hasExpired()) {
        end();
    }
}

void ToolRun::signalGroup(int number) const {
    if (group_ > 0) {
        ::kill(static_cast<pid_t>(-group_), number);
    }
}

bool ToolRun::groupLives() const {
    return group_ > 0 && ::kill(static_cast<pid_t>(-group_), 0) == 0;
}

void ToolRun::fail(const QString& reason) {
    end_.kind = ToolEnd::Kind::notStarted;
    end_.reason = reason;
    // The caller of `start` gets the failure later, like every other end.
    failTimer_.start();
}

void ToolRun::end() {
    killTimer_.stop();
    groupTimer_.stop();
    if (terminal_ >= 0) {
        read(readAtEnd);
        closeTerminal();
    }
    if (process_ != nullptr) {
        std::exchange(process_, nullptr)->deleteLater();
    }
    const QList<StyledText> texts = decoder_.finish();
    if (!texts.isEmpty()) {
        emit output(texts);
    }
    end_.milliseconds = milliseconds();
    running_ = false;
    emit ended(end_);
}

}  // namespace desktop
