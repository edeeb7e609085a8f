#include "files/guardProcess.h"

#include "display/Display.h"
#include "files/unfinishedFiles.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <new>

namespace {

void endBySignal(int signal) {
    removeUnfinishedFiles();
    raise(signal);  // the default action follows when this handler returns
}

void handleEndingSignals() {
    for (const int signal : endingSignals) {
        struct sigaction action {};
        // If the parent process made this process ignore a signal, as nohup does, the signal stays ignored.
        if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) {
            continue;
        }
        action.sa_handler = endBySignal;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(signal, &action, nullptr);
    }
}

// This function must not allocate.
[[noreturn]] void endWithoutMemory() {
    removeUnfinishedFiles();
    Display::getInstance()->writeLastLine("Error: Out of memory");
    _exit(1);
}

// Replaces the default handler of std::terminate. Containers throw when memory runs out, and no code here catches the
// exception. If there is no exception, Qt or the C++ library has already printed the reason.
[[noreturn]] void endByTermination() {
    if (std::current_exception() != nullptr) {
        endWithoutMemory();
    }
    removeUnfinishedFiles();
    _exit(1);
}

void protectMemory() {
#ifdef QT_NO_DEBUG  // debuggers and leak checks need core dumps and access to the process
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    prctl(PR_SET_DUMPABLE, 0);
#endif
}

}  // namespace

void guardProcess() {
    protectMemory();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    handleEndingSignals();
    static_cast<void>(Display::getInstance());  // creates the display while there is memory
    std::set_new_handler(endWithoutMemory);
    std::set_terminate(endByTermination);
}
