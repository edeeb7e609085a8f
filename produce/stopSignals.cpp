#include "produce/stopSignals.h"

#include "files/unfinishedFiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace produce {

namespace {

constexpr int stoppedStatus = 3;

volatile std::sig_atomic_t isRequested = 0;
std::array<int, 2> pipeEnds{-1, -1};

void requestStop(int /*signal*/) {
    if (isRequested != 0) {
        removeUnfinishedFiles();
        _exit(stoppedStatus);
    }
    isRequested = 1;
    const int before = errno;
    static_cast<void>(!write(pipeEnds[1], "", 1));
    errno = before;
}

}  // namespace

void handleStopSignals() {
    if (pipeEnds[0] < 0 && pipe2(pipeEnds.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    for (const int signal : endingSignals) {
        struct sigaction action {};
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
            action.sa_handler = requestStop;
            action.sa_flags = 0;
            sigaction(signal, &action, nullptr);
        }
    }
}

bool isStopRequested() {
    return isRequested != 0;
}

int stopDescriptor() {
    return pipeEnds[0];
}

}  // namespace produce
