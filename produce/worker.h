#pragma once

#include "files/FileHandle.h"
#include "produce/ProductionJob.h"

#include <QHash>

#include <sys/types.h>

namespace produce {

/// The values that are the same for all devices of a run. The workers inherit them.
struct Making {
    ProductionJob job;
    QHash<QString, QString> keyPaths;  ///< by name: /proc/self/fd/N of the keys that the runner has read
};

/// Runs a worker, a child of the runner: takes tasks from `socket`, makes and proves each device, and sends its result,
/// until the runner closes the socket or ends. A worker ignores the signals with which users end a run, since the
/// runner decides what is finished.
[[noreturn]] void runWorker(const FileHandle& socket, const Making& making, pid_t runner);

}  // namespace produce
