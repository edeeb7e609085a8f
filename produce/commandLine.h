#pragma once

#include "calls/Call.h"

namespace produce {

/// The commands and options of qvora-produce.
[[nodiscard]] const calls::Program& program();

}  // namespace produce
