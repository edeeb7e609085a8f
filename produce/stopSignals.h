#pragma once

namespace produce {

/// Makes the first SIGINT, SIGTERM or SIGHUP a request to stop, and the second one the end of the process, with status
/// 3. The workers end with it.
void handleStopSignals();

/// Whether a stop was requested.
[[nodiscard]] bool isStopRequested();

/// A descriptor that can be read once a stop was requested.
[[nodiscard]] int stopDescriptor();

}  // namespace produce
