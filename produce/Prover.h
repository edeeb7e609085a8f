#pragma once

#include "files/FileHandle.h"
#include "produce/DeviceTask.h"

#include <sys/types.h>

namespace produce {

/// A process that proves outputs with the opener, so that a fault of the opener costs one device and not the run.
class Prover {
  public:
    Prover() = default;
    ~Prover();
    Prover(const Prover&) = delete;
    Prover& operator=(const Prover&) = delete;

    /// Proves the outputs of a step. Sets `isProven`, `reason` and `outputs` of `result`. Starts the process if it
    /// isn't running.
    void prove(const ProofTask& task, int timeoutSeconds, StepResult& result);

  private:
    [[nodiscard]] bool start();
    void stop();

    FileHandle socket_;
    pid_t process_ = -1;
};

}  // namespace produce
