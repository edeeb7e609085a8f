#include "produce/childProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>

namespace produce {

namespace {

using Clock = std::chrono::steady_clock;

constexpr qsizetype longestOutput = 64 << 10;

/// Connects standard input to nothing, and standard output and error to `output`.
bool connectStreams(const FileHandle& output) {
    const FileHandle nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
    return nothing.isOpen() && dup2(nothing.get(), STDIN_FILENO) >= 0 && dup2(output.get(), STDOUT_FILENO) >= 0 &&
           dup2(output.get(), STDERR_FILENO) >= 0;
}

[[noreturn]] void runChild(const std::function<int()>& work, pid_t parent, const FileHandle& output) {
    setpgid(0, 0);
    if (!endWithParent(parent) || !connectStreams(output)) {
        _exit(125);
    }
    const int status = work();
    std::fflush(nullptr);
    _exit(status);
}

/// Appends the bytes that are available, and drops the oldest ones. False at the end of the output.
bool readOutput(const FileHandle& pipe, QByteArray& output) {
    std::array<char, 16384> buffer{};
    const ssize_t count = pipe.read(buffer.data(), buffer.size());
    if (count <= 0) {
        return count < 0 && errno == EAGAIN;
    }
    output.append(buffer.data(), count);
    if (output.size() > 2 * longestOutput) {
        output = output.last(longestOutput);
    }
    return true;
}

int millisecondsUntil(Clock::time_point end) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    return left <= 0 ? 0 : static_cast<int>(left);
}

/// Reads the output until the child ends. False if that takes too long.
bool follow(const FileHandle& child, const FileHandle& pipe, Clock::time_point end, QByteArray& output) {
    bool isOpen = true;
    for (;;) {
        std::array<pollfd, 2> files{pollfd{child.get(), POLLIN, 0}, pollfd{isOpen ? pipe.get() : -1, POLLIN, 0}};
        const int ready = poll(files.data(), files.size(), millisecondsUntil(end));
        if (ready == 0 || (ready < 0 && errno != EINTR)) {
            return false;
        }
        if (ready < 0) {
            continue;
        }
        if (files[1].revents != 0) {
            isOpen = readOutput(pipe, output);
        } else if (files[0].revents != 0) {
            return true;  // all output of the child itself has been read
        }
    }
}

ChildEnd endOf(pid_t child, bool inTime, QByteArray output) {
    kill(-child, SIGKILL);  // also the processes that the child started
    kill(child, SIGKILL);
    int status = 0;
    pid_t ended = 0;
    do {
        ended = waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    output = output.size() > longestOutput ? output.last(longestOutput) : std::move(output);
    if (!inTime || ended != child) {
        return {ChildEnd::Kind::timedOut, 0, std::move(output)};
    }
    return WIFEXITED(status) ? ChildEnd{ChildEnd::Kind::exited, WEXITSTATUS(status), std::move(output)}
                             : ChildEnd{ChildEnd::Kind::signalled, WTERMSIG(status), std::move(output)};
}

}  // namespace

ChildEnd runInChild(const std::function<int()>& work, int timeoutSeconds) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {ChildEnd::Kind::notStarted, errno, {}};
    }
    const FileHandle readEnd(ends[0]);
    FileHandle writeEnd(ends[1]);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        runChild(work, parent, writeEnd);
    }
    if (child < 0) {
        return {ChildEnd::Kind::notStarted, errno, {}};
    }
    setpgid(child, child);  // the child makes the same call, and the first of the two has the effect
    static_cast<void>(writeEnd.close());
    fcntl(readEnd.get(), F_SETFL, O_NONBLOCK);
    const FileHandle handle(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    QByteArray output;
    const bool inTime =
        handle.isOpen() && follow(handle, readEnd, Clock::now() + std::chrono::seconds(timeoutSeconds), output);
    return endOf(child, inTime, std::move(output));
}

bool waitToRead(int descriptor, int milliseconds) {
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
        pollfd file{descriptor, POLLIN, 0};
        const int ready = poll(&file, 1, millisecondsUntil(end));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

bool endWithParent(pid_t parent) {
    return prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent;
}

}  // namespace produce
