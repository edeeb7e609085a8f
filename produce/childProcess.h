#pragma once

#include "files/FileHandle.h"

#include <QByteArray>

#include <sys/types.h>

#include <functional>

namespace produce {

/// The end of a child process.
struct ChildEnd {
    enum class Kind { exited, signalled, timedOut, notStarted };
    Kind kind = Kind::notStarted;
    int code = 0;       ///< the exit status, the number of the signal, or the reason why it wasn't started
    QByteArray output;  ///< the last part of its standard output and error
};

/// Forks a child that runs `work` and exits with its result. The child has an empty standard input, is the leader of a
/// process group, and is killed when this process ends. When the child has ended or `timeoutSeconds` have passed, its
/// whole group is killed.
[[nodiscard]] ChildEnd runInChild(const std::function<int()>& work, int timeoutSeconds);

/// Waits until `descriptor` can be read. False after `milliseconds`, or if it never will be.
[[nodiscard]] bool waitToRead(int descriptor, int milliseconds);

/// Makes this process end when its parent, the process `parent`, ends. False if the parent has already ended.
[[nodiscard]] bool endWithParent(pid_t parent);

}  // namespace produce
