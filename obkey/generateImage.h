#pragma once

#include "obkey/Imgtool.h"
#include "obkey/McubootTemplate.h"

namespace obkey {

/// Runs imgtool with the values of `config`. `config` receives the used values. On success, the template receives them,
/// too. Returns the exit status for the process. Every fault is reported, except a template that can't be opened for
/// the write-back.
[[nodiscard]] int generateImage(Imgtool& imgtool, McubootConfig& config);

}  // namespace obkey
