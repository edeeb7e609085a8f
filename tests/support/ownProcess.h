#pragma once

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

/// The status of a child that finds something missing on this system.
inline constexpr int childSkipped = 2;

/// Runs a test in a child process, which may change what a process has. 0 if it passed.
inline int inOwnProcess(const std::function<bool()>& passes) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(passes() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Gives the child the rights of an ordinary user: root may write everywhere.
inline void dropRoot() {
    constexpr uid_t nobody = 65534;
    if (geteuid() == 0 && setresuid(nobody, nobody, nobody) != 0) {
        _exit(childSkipped);
    }
}

/// Gives the child its own view of the file system, in which it may mount.
inline void ownMounts() {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        _exit(childSkipped);
    }
}
