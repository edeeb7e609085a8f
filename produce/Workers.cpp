#include "produce/Workers.h"

#include "produce/worker.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

namespace produce {

namespace {

constexpr std::size_t mostTasks = 2;

}  // namespace

Workers::~Workers() {
    kill();
}

bool Workers::start(int count, const Making& making) {
    const pid_t runner = getpid();
    for (int i = 0; i < count; ++i) {
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            return false;
        }
        FileHandle own(ends[0]);
        const FileHandle other(ends[1]);
        const pid_t process = fork();
        if (process < 0) {
            return false;
        }
        if (process == 0) {
            // A worker keeps only its own end of its own socket, so that each end is open in one process only.
            static_cast<void>(own.close());
            workers_.clear();
            runWorker(other, making, runner);
        }
        Worker worker;
        worker.process = process;
        worker.socket = std::move(own);
        workers_.push_back(std::move(worker));
    }
    return true;
}

bool Workers::hasRoom() const {
    return std::any_of(workers_.begin(), workers_.end(),
                       [](const Worker& worker) { return worker.socket.isOpen() && worker.tasks.size() < mostTasks; });
}

bool Workers::isAlive() const {
    return std::any_of(workers_.begin(), workers_.end(), [](const Worker& worker) { return worker.socket.isOpen(); });
}

bool Workers::send(const DeviceTask& task) {
    Worker* chosen = nullptr;
    for (Worker& worker : workers_) {
        if (worker.socket.isOpen() && worker.tasks.size() < mostTasks &&
            (chosen == nullptr || worker.tasks.size() < chosen->tasks.size())) {
            chosen = &worker;
        }
    }
    if (chosen == nullptr || !chosen->socket.write(packed(task))) {
        return false;  // if the worker has ended, its socket reports that next
    }
    chosen->tasks.push_back(task.id);
    return true;
}

std::vector<int> Workers::sockets() const {
    std::vector<int> descriptors;
    for (const Worker& worker : workers_) {
        descriptors.push_back(worker.socket.get());
    }
    return descriptors;
}

void Workers::receiveFrom(std::size_t index, QList<DeviceResult>& results) {
    Worker& worker = workers_[index];
    std::array<char, 65536> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init): read fills it
    const ssize_t count = worker.socket.read(buffer.data(), buffer.size());
    if (count <= 0) {
        bury(worker, results);
        return;
    }
    worker.received.append(buffer.data(), count);
    for (;;) {
        DeviceResult result;
        const Unpacking unpacking = takeMessage(worker.received, result);
        if (unpacking == Unpacking::incomplete) {
            return;
        }
        const bool isExpected = !worker.tasks.empty() && worker.tasks.front() == result.id;
        if (unpacking == Unpacking::broken || !isExpected) {
            bury(worker, results);
            return;
        }
        worker.tasks.pop_front();
        results.append(result);
    }
}

void Workers::bury(Worker& worker, QList<DeviceResult>& results) {
    for (const quint64 id : worker.tasks) {
        DeviceResult lost;
        lost.id = id;
        StepResult step;
        step.reason = QStringLiteral("the worker ended");
        lost.steps.append(step);
        results.append(lost);
    }
    worker.tasks.clear();
    static_cast<void>(worker.socket.close());
    ::kill(worker.process, SIGKILL);
    while (waitpid(worker.process, nullptr, 0) < 0 && errno == EINTR) {
    }
    worker.process = -1;
}

void Workers::kill() {
    QList<DeviceResult> lost;
    for (Worker& worker : workers_) {
        if (worker.process > 0) {
            bury(worker, lost);
        }
    }
}

}  // namespace produce
