#pragma once

#include "calls/Call.h"

namespace sign {

/// The commands and options of qvora-sign.
[[nodiscard]] const calls::Program& program();

// The commands. Each reports its faults and returns the status.
[[nodiscard]] int runImage(const calls::Call& call);
[[nodiscard]] int runWireless(const calls::Call& call);
[[nodiscard]] int runCheckpoint(const calls::Call& call);
[[nodiscard]] int runPublic(const calls::Call& call);
[[nodiscard]] int runPrepareImage(const calls::Call& call);
[[nodiscard]] int runPrepareWireless(const calls::Call& call);
[[nodiscard]] int runAttach(const calls::Call& call);
[[nodiscard]] int runList(const calls::Call& call);

}  // namespace sign
