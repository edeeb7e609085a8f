#pragma once

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

/// The status of a child that can't run its test on this system.
inline constexpr int childSkipped = 2;

/// Runs a test in a child process, which may change its own rights and mounts. Returns 0 if the test passed.
inline int inOwnProcess(const std::function<bool()>& passes) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(passes() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Changes root to an ordinary user, because root may write everywhere.
inline void dropRoot() {
    constexpr uid_t nobody = 65534;
    if (geteuid() == 0 && setresuid(nobody, nobody, nobody) != 0) {
        _exit(childSkipped);
    }
}

/// Gives the child its own mounts.
inline void ownMounts() {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        _exit(childSkipped);
    }
}
